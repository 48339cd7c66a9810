// SPDX-License-Identifier: Apache-2.0
#include "MessageUI/XdgEmail.h"

#include <gio/gio.h>

#include <utility>

#include "Dispatch/DispatchQueue.h"
#include "Foundation/System/GLibReference.h"

namespace oq {
namespace {

constexpr const char* kProgram = "xdg-email";
/// Some mail programs run until the user closes them, and xdg-email waits for them.
constexpr double kLongEnough = 5;  // seconds

class Command {
 public:
  void add(const std::string& argument) { g_ptr_array_add(_arguments, g_strdup(argument.c_str())); }
  const char* const* argv() {
    if (_arguments->len == 0 || g_ptr_array_index(_arguments, _arguments->len - 1))
      g_ptr_array_add(_arguments, nullptr);
    return reinterpret_cast<const char* const*>(_arguments->pdata);
  }
  Command() : _arguments(g_ptr_array_new_with_free_func(g_free)) {}
  ~Command() { g_ptr_array_unref(_arguments); }
  Command(const Command&) = delete;
  Command& operator=(const Command&) = delete;

 private:
  GPtrArray* _arguments;
};

/// A mailto address: whatever characters it has, it cannot be read as an option or a header.
std::string mailtoAddress(const std::vector<std::string>& recipients) {
  std::string address = "mailto:";
  for (const auto& recipient : recipients) {
    if (address.back() != ':') address += ',';
    char* escaped = g_uri_escape_string(recipient.c_str(), "@", FALSE);
    address += escaped;
    g_free(escaped);
  }
  return address;
}

/// Keeps itself alive until the program has ended, which always happens.
class Run : public MailComposition, public std::enable_shared_from_this<Run> {
 public:
  explicit Run(MailCompletion completion) : _completion(std::move(completion)) {}

  void start(const MailMessage& message, const std::vector<std::filesystem::path>& files) {
    Command command;
    command.add(kProgram);
    command.add("--utf8");
    command.add("--subject");
    command.add(message.subject);
    command.add("--body");
    command.add(message.body);
    for (const auto& file : files) {
      command.add("--attach");
      command.add(file.string());
    }
    command.add(mailtoAddress(message.recipients));
    constexpr auto silent =
        static_cast<GSubprocessFlags>(G_SUBPROCESS_FLAGS_STDOUT_SILENCE | G_SUBPROCESS_FLAGS_STDERR_SILENCE);
    const ObjectRef<GSubprocess> process(g_subprocess_newv(command.argv(), silent, nullptr));
    if (!process) return end(MailOutcome::Unreachable);
    g_subprocess_wait_check_async(process.get(), nullptr, &Run::ended, new std::shared_ptr<Run>(shared_from_this()));
    DispatchQueue::main().after(kLongEnough, [weak = weak_from_this()] {
      if (auto run = weak.lock()) run->end(MailOutcome::HandedOver);
    });
  }

  void cancel() override { _completion = nullptr; }

 private:
  static void ended(GObject* process, GAsyncResult* result, gpointer held) {
    const std::unique_ptr<std::shared_ptr<Run>> self(static_cast<std::shared_ptr<Run>*>(held));
    Failure failure;
    if (g_subprocess_wait_check_finish(G_SUBPROCESS(process), result, failure.out()))
      return (*self)->end(MailOutcome::HandedOver);
    (*self)->end(MailOutcome::Failed, Error{MailErrorDomain, failure.code(), failure.message()});
  }

  void end(MailOutcome outcome, std::optional<Error> error = std::nullopt) {
    auto completion = std::exchange(_completion, nullptr);
    if (!completion) return;
    DispatchQueue::main().async(
        [completion = std::move(completion), outcome, error = std::move(error)] { completion(outcome, error); });
  }

  MailCompletion _completion;  ///< empty after it was called or cancelled
};

}  // namespace

bool XdgEmail::isAvailable() {
  char* program = g_find_program_in_path(kProgram);
  const ObjectRef<GAppInfo> mailProgram(program ? g_app_info_get_default_for_uri_scheme("mailto") : nullptr);
  g_free(program);
  return mailProgram != nullptr;
}

std::shared_ptr<MailComposition> XdgEmail::compose(const MailMessage& message,
                                                   const std::vector<std::filesystem::path>& files,
                                                   MailCompletion completion) {
  auto run = std::make_shared<Run>(std::move(completion));
  run->start(message, files);
  return run;
}

}  // namespace oq
