// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <fstream>

#include "Engine/OQSDKManager.h"
#include "Foundation/Files/FileManager.h"
#include "Foundation/Values/Format.h"
#include "Hooks/OQSwizzler.h"
#include "MessageUI/MFMailComposeViewController.h"
#include "UIKit/Views/UILabel.h"
#include "Utils/OQLogger.h"
#include "Utils/OQUtils.h"
#include "oqsdk/OQSDKConstants.h"
#include "src/TemporaryFolder.h"
#include "support/FakePortal.h"
#include "support/ScreenParts.h"

namespace oq {
namespace {

namespace fs = std::filesystem;
using test::FakePortal;
using testing::ElementsAre;
using testing::Pair;

/// A screen of a host that receives the result of the mail.
class Delegate : public UIViewController {
  OQ_CLASS(Delegate)

 public:
  std::vector<std::int64_t> results;
  std::optional<Error> error;

 private:
  void _finished(Object*, std::int64_t result, const std::optional<Error>& failure) {
    results.push_back(result);
    error = failure;
  }
};
Class* Delegate::staticClass() {
  static Class* registered = registerClass("LogMailTestDelegate", UIViewController::staticClass(),
                                           {method<&Delegate::_finished>(mailComposeDidFinishSelector)});
  return registered;
}

void write(const fs::path& file, const std::string& text) {
  fs::create_directories(file.parent_path());
  test::writeText(file, text);
}

/// A home folder without a mail program, a portal or a bus.
class Desktop {
 public:
  Desktop() {
    for (const char* name :
         {"HOME", "XDG_DATA_HOME", "XDG_DATA_DIRS", "XDG_CONFIG_HOME", "XDG_CONFIG_DIRS", "XDG_RUNTIME_DIR"})
      ::setenv(name, _folder.path().c_str(), 1);
    ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
    ::setenv("PATH", (_folder.path().string() + "/bin:/usr/bin:/bin").c_str(), 1);
  }
  const fs::path& path() const { return _folder.path(); }

  /// Adds a program that writes its arguments to a file, one per line, saves the attachments, and exits with the
  /// status.
  void addXdgEmail(int status) const {
    const fs::path program = path() / "bin/xdg-email";
    write(program, "#!/bin/sh\ncd " + path().string() + R"(
for argument; do
  printf '%s\n' "$argument" >>arguments
  [ "$last" = --attach ] && cat "$argument" >>attached
  last=$argument
done
touch asked
exit )" + std::to_string(status) +
                       "\n");
    ::chmod(program.c_str(), 0755);
  }
  void addMailProgram() const {
    write(path() / "applications/mail.desktop",
          "[Desktop Entry]\nType=Application\nName=Mail\nExec=true %u\nMimeType=x-scheme-handler/mailto;\n");
    write(path() / "mimeapps.list", "[Default Applications]\nx-scheme-handler/mailto=mail.desktop\n");
  }

 private:
  test::TemporaryFolder _folder;
};

class LogMail : public testing::Test {
 protected:
  void SetUp() override {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "GLib's D-Bus and its threads are not built for the sanitizer";
#endif
  }
  LogMail() {
    // The text libraries read the environment on a thread of their own, while a test's bus changes the environment.
    // That thread ends when the first text has been measured, so measure a text now.
    const auto label = makeMainObject<UILabel>();
    label->setText("text");
    label->textSizeForWidth(100);
    delegate = makeMainObject<Delegate>();
    OQNavigation::currentNavigation()->pushViewController(delegate, false);
    OQLogger::getInstance().flush();
  }
  static fs::path logs() {
    return documentsDirectory() / "Log";
  }
  void send(const std::string& recipient = "dev@example.org") {
    OQSDKManager::sharedManager().sendLogToEmail(recipient);  // from the current screen, which is the delegate
  }
  /// Waits until the delegate was called with this result only, and the composer is gone.
  void expectResult(MFMailComposeResult result) {
    EXPECT_TRUE(host.runUntil([&] { return !delegate->results.empty(); }, 20, true));
    host.advance(1);
    EXPECT_THAT(std::exchange(delegate->results, {}), ElementsAre(static_cast<int>(result)));
    EXPECT_EQ(std::exchange(delegate->error, {}).has_value(), result == MFMailComposeResult::Failed);
    EXPECT_EQ(delegate->presentedViewController(), nullptr);
  }

  Desktop desktop;
  HeadlessHost host{{.dataDirectory = desktop.path() / "data"}};
  std::shared_ptr<Delegate> delegate;
};

/// Names and contents of the attachments, except for the last one, which is this run's log.
std::vector<std::pair<std::string, std::string>> filesOf(FakePortal::Mail mail) {
  EXPECT_TRUE(mail.files.at(mail.files.size() - 1).first.starts_with("oqsdk_"));
  mail.files.pop_back();
  return mail.files;
}

TEST_F(LogMail, PortalGetsEveryLogFile) {
  FakePortal portal;
  write(logs() / "a.log", "first");
  write(logs() / "b.txt", "not a log");
  write(logs() / "c.LOG", "not a log either");
  write(logs() / "m/a.log", "below");
  write(logs() / "m_a.log", "the same attachment name");
  fs::create_directories(logs() / "folder.log");
  write(applicationDataDirectory() / "secret", "not our log");
  fs::create_symlink(applicationDataDirectory() / "secret", logs() / "h.log");
  // Files of an earlier mail are kept for one day.
  const fs::path mails = applicationDataDirectory() / "Mail";
  write(mails / "old/a.log", "old");
  write(mails / "recent/a.log", "recent");
  fs::last_write_time(mails / "old", fs::file_time_type::clock::now() - std::chrono::hours(25));
  const std::string odd = "de v\"<x>\"+log@例え.org\n-a";
  send(odd);
  host.advance(0.1);
  EXPECT_EQ(class_getName(delegate->presentedViewController()->class_()), "MFMailComposeViewController");
  expectResult(MFMailComposeResult::Sent);
  ASSERT_EQ(portal.mails().size(), 1u);
  const auto mail = portal.mails().front();
  EXPECT_THAT(mail.addresses, ElementsAre(odd));
  EXPECT_EQ(mail.subject, "OQSDK v" + OQSDKVersion + " 用户行为日志");
  EXPECT_EQ(mail.body, "请查收附件");
  EXPECT_THAT(filesOf(mail), ElementsAre(Pair("a.log", "first"), Pair("m_a.log", "below"),
                                         Pair("2-m_a.log", "the same attachment name")));
  EXPECT_FALSE(fs::exists(mails / "old"));
  EXPECT_TRUE(fs::exists(mails / "recent/a.log"));
  const auto record = OQSwizzler::swizzleForSelector(mailComposeDidFinishSelector);
  EXPECT_EQ(record->swizzledClass(), Delegate::staticClass());
  EXPECT_TRUE(record->blocks()->contains("MFMailComposeViewControllerDelegate"));
}

TEST_F(LogMail, SendsTheNewestFilesAndLogsHowManyAreLeftOut) {
  FakePortal portal;
  const auto now = fs::file_time_type::clock::now();
  for (int i = 0; i < 3000; ++i) {
    const fs::path file = logs() / (std::to_string(i) + ".log");
    write(file, std::to_string(i));
    // Every 200th file is recent; sorted by name, these are not the last ones.
    fs::last_write_time(file, now - std::chrono::hours(i % 200 == 7 ? 1 : 100));
  }
  std::vector<std::string> lines;
  setPlatformLogHandler([&](std::string_view line) { lines.emplace_back(line); });
  send();
  setPlatformLogHandler({});
  expectResult(MFMailComposeResult::Sent);
  EXPECT_THAT(lines, ElementsAre("2985 log files stay behind, a mail carries the newest 16"));
  const auto files = filesOf(portal.mails().at(0));
  EXPECT_EQ(files.size(), 15u);
  for (const auto& [name, bytes] : files) EXPECT_TRUE(name == bytes + ".log" && std::stoi(bytes) % 200 == 7) << name;
}

TEST_F(LogMail, ResultDependsOnThePortalsResponse) {
  using enum MFMailComposeResult;
  const std::pair<std::string, MFMailComposeResult> cases[] = {
      {R"({"version": 2})", Sent},      {R"({"response": 1})", Cancelled},
      {R"({"response": 2})", Failed},   {R"({"error": "org.freedesktop.portal.Error.InvalidArgument"})", Failed},
      {R"({"ownHandle": true})", Sent}, {R"({"breaksDown": true})", Failed}};
  for (const auto& [manners, result] : cases) {
    FakePortal portal(manners);
    send();
    expectResult(result);
    ASSERT_EQ(portal.mails().size(), 1u);
    EXPECT_EQ(portal.mails().front().address, manners == cases[0].first ? "dev@example.org" : "");
  }
}

TEST_F(LogMail, CanBeCancelledWhileThePortalIsSilent) {
  FakePortal portal(R"({"response": null})");
  send();
  ASSERT_TRUE(host.runUntil([&] { return portal.mails().size() == 1; }, 20, true));
  host.advance(1);
  EXPECT_EQ(delegate->results.size(), 0u);
  EXPECT_TRUE(test::tapButton(host, "Cancel"));
  expectResult(MFMailComposeResult::Cancelled);
  EXPECT_TRUE(host.runUntil([&] { return portal.closedRequests() == 1; }, 20));
  // If other code dismisses the composer, the delegate is not called.
  send();
  ASSERT_TRUE(host.runUntil([&] { return portal.mails().size() == 2; }, 20, true));
  host.advance(1);
  delegate->dismissViewControllerAnimated(false);
  EXPECT_TRUE(host.runUntil([&] { return portal.closedRequests() == 2; }, 20));
  EXPECT_EQ(delegate->results.size(), 0u);
}

TEST_F(LogMail, NeedsRecipientControllerAndMailProgram) {
  EXPECT_FALSE(MFMailComposeViewController::canSendMail());
  send();
  desktop.addXdgEmail(0);
  EXPECT_FALSE(MFMailComposeViewController::canSendMail()) << "no mail program is registered";
  send();
  FakePortal portal;
  EXPECT_TRUE(MFMailComposeViewController::canSendMail());
  send("");
  OQUtils::sendEmailTo(std::nullopt, {}, {}, delegate);
  OQUtils::sendEmailTo("dev@example.org", {}, {}, nullptr);
  OQUtils::sendEmailTo("dev@example.org", {}, {}, makeMainObject<Delegate>());  // not on any screen
  host.advance(1);
  EXPECT_EQ(delegate->presentedViewController(), nullptr);
  EXPECT_EQ(portal.mails().size(), 0u);
  EXPECT_FALSE(fs::exists(desktop.path() / "asked"));
  // A mail without attachments is sent as well.
  OQUtils::sendEmailTo("dev@example.org", {Data{'x'}}, {}, delegate);
  expectResult(MFMailComposeResult::Sent);
  EXPECT_EQ(portal.mails().at(0).files.size(), 0u);
}

TEST_F(LogMail, UsesXdgEmailWithoutAPortal) {
  desktop.addMailProgram();
  desktop.addXdgEmail(0);
  ASSERT_TRUE(MFMailComposeViewController::canSendMail());
  write(logs() / "a b.log", "first");
  send("--attach /etc/passwd@example.org?cc=x");
  expectResult(MFMailComposeResult::Sent);
  std::ifstream lines(desktop.path() / "arguments");
  std::vector<std::string> arguments;
  for (std::string line; std::getline(lines, line);) arguments.push_back(line);
  EXPECT_THAT(arguments, ElementsAre("--utf8", "--subject", "OQSDK v" + OQSDKVersion + " 用户行为日志", "--body",
                                     "请查收附件", "--attach", testing::EndsWith("/a b.log"), "--attach",
                                     testing::ContainsRegex("/oqsdk_[^/]*\\.log$"),
                                     "mailto:--attach%20%2Fetc%2Fpasswd@example.org%3Fcc%3Dx"));
  EXPECT_THAT(test::textOfFile(desktop.path() / "attached"), testing::StartsWith("first"));

  desktop.addXdgEmail(3);
  send();
  expectResult(MFMailComposeResult::Failed);
}

}  // namespace
}  // namespace oq
