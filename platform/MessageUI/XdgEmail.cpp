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
    std::vector<std::string> command{kProgram, "--utf8", "--subject", message.subject, "--body", message.body};
    for (const auto& file : files) command.insert(command.end(), {"--attach", file.string()});
    command.push_back(mailtoAddress(message.recipients));
    std::vector<const char*> arguments;
    for (const auto& argument : command) arguments.push_back(argument.c_str());
    arguments.push_back(nullptr);
    constexpr auto silent =
        static_cast<GSubprocessFlags>(G_SUBPROCESS_FLAGS_STDOUT_SILENCE | G_SUBPROCESS_FLAGS_STDERR_SILENCE);
    const ObjectRef<GSubprocess> process(g_subprocess_newv(arguments.data(), silent, nullptr));
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
