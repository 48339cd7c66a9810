// SPDX-License-Identifier: Apache-2.0
#include "MessageUI/XdgEmail.h"

#include <gio/gio.h>

#include <memory>
#include <utility>

#include "Dispatch/DispatchQueue.h"
#include "Foundation/System/GLibReference.h"
#include "MessageUI/MailThread.h"

namespace oq {
namespace {

constexpr const char* kProgram = "xdg-email";
/// After this time the message counts as handed over: some mail programs run until the user closes them, and xdg-email
/// waits for them.
constexpr double kLongEnough = 5;  // seconds

/// Builds a mailto address. Recipients are escaped, so that none of them can be read as an option or a header.
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

struct WaitedFor {
  ObjectRef<GSubprocess> process;
  MailReport report;
};

/// Called on the mail thread when xdg-email has ended.
void ended(GObject* process, GAsyncResult* result, gpointer data) {
  const std::unique_ptr<WaitedFor> waited(static_cast<WaitedFor*>(data));
  Failure failure;
  if (g_subprocess_wait_check_finish(G_SUBPROCESS(process), result, failure.out()))
    return deliver(waited->report, MailOutcome::HandedOver);
  deliver(waited->report, MailOutcome::Failed, Error{MailErrorDomain, failure.code(), failure.message()});
}

/// Starts xdg-email. Returns nullptr if it cannot be started.
GSubprocess* started(const MailMessage& message, const std::vector<std::filesystem::path>& files) {
  std::vector<std::string> command{kProgram, "--utf8", "--subject", message.subject, "--body", message.body};
  for (const auto& file : files) command.insert(command.end(), {"--attach", file.string()});
  command.push_back(mailtoAddress(message.recipients));
  std::vector<const char*> arguments;
  for (const auto& argument : command) arguments.push_back(argument.c_str());
  arguments.push_back(nullptr);
  constexpr auto silent =
      static_cast<GSubprocessFlags>(G_SUBPROCESS_FLAGS_STDOUT_SILENCE | G_SUBPROCESS_FLAGS_STDERR_SILENCE);
  return g_subprocess_newv(arguments.data(), silent, nullptr);
}

class Run : public MailComposition {
 public:
  explicit Run(MailReport report) : _report(std::move(report)) {}
  void cancel() override { *_report = nullptr; }

 private:
  const MailReport _report;
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
  auto report = std::make_shared<MailCompletion>(std::move(completion));
  MailThread* thread = MailThread::shared();
  GSubprocess* process = thread ? started(message, files) : nullptr;
  if (process) {
    thread->async([waited = new WaitedFor{ObjectRef<GSubprocess>(process), report}] {
      g_subprocess_wait_check_async(waited->process.get(), nullptr, ended, waited);
    });
    DispatchQueue::main().after(kLongEnough, [report] { deliver(report, MailOutcome::HandedOver); });
  } else {
    deliver(report, MailOutcome::Unreachable);
  }
  return std::make_shared<Run>(std::move(report));
}

}  // namespace oq
