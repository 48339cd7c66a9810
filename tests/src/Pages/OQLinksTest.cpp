// SPDX-License-Identifier: Apache-2.0
#include "Pages/OQLinks.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <chrono>
#include <filesystem>
#include <future>
#include <optional>
#include <string>
#include <vector>

#include "Foundation/Values/Format.h"
#include "oqsdk/headless/HeadlessHost.h"
#include "support/ScratchFolder.h"

namespace oq::test {
namespace {

namespace fs = std::filesystem;

constexpr const char* kLink = "https://shop.example/a?x=$(touch%20injected)&y='1';z#top";
/// The environment variable that passes the folder with the desktop's settings to the process that opens the link.
constexpr const char* kVariable = "OQSDK_TEST_DESKTOP";

/// Installs a browser that writes its arguments, one per line, and which signals it blocks, into the file "opened".
void installBrowser(const fs::path& desktop) {
  fs::create_directories(desktop / "applications");
  writeText(desktop / "browser", "#!/bin/sh\n(printf '%s\\n' \"$@\"; grep SigBlk /proc/self/status) >\"" +
                                     (desktop / "opening").string() + "\"\nmv \"" + (desktop / "opening").string() +
                                     "\" \"" + (desktop / "opened").string() + "\"\n");
  fs::permissions(desktop / "browser", fs::perms::owner_all);
  writeText(desktop / "applications/browser.desktop",
            "[Desktop Entry]\nType=Application\nName=Browser\n"
            "MimeType=x-scheme-handler/https;x-scheme-handler/ftp;\nExec=\"" +
                (desktop / "browser").string() + "\" --new %u\n");
  writeText(desktop / "mimeapps.list",
            "[Default Applications]\nx-scheme-handler/https=browser.desktop\n"
            "x-scheme-handler/ftp=browser.desktop\n");
}

/// Opens the link in a host that cannot show web pages. Exits with 0 if the expected happens within 20 s: with `opens`
/// the browser gets the link, otherwise there is only a warning.
[[noreturn]] void openWithoutPages(const std::string& link, bool opens) {
  const fs::path desktop = ::getenv(kVariable);
  std::promise<std::string> warned;
  setPlatformLogHandler([&](std::string_view line) { warned.set_value(std::string(line)); });
  HeadlessHost host{{.dataDirectory = desktop / "data"}};
  host.refusePages("there is no engine");
  OQLinks::open(link);
  auto warning = warned.get_future();
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  const auto isWarned = [&] { return warning.wait_for(std::chrono::milliseconds(5)) == std::future_status::ready; };
  while (!fs::exists(desktop / "opened") && !isWarned() && std::chrono::steady_clock::now() < end) {
  }
  if (!host.pages().empty()) std::exit(2);
  const std::string expected = "--new\n" + link + "\nSigBlk:\t0000000000000000\n";
  if (opens) std::exit(textOfFile(desktop / "opened") == expected ? 0 : 3);
  if (fs::exists(desktop / "opened") || !isWarned()) std::exit(4);
  std::exit(warning.get().find(link) != std::string::npos ? 0 : 5);
}

/// The link is opened by a process that runs this test again from its start, because GLib reads the desktop's folders
/// only once.
class Links : public testing::Test {
 protected:
  Links() {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    if (::getenv(kVariable)) return;
    _folder.emplace();
    ::setenv(kVariable, _folder->path().c_str(), 1);
    for (const char* variable : {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_DATA_DIRS", "XDG_CONFIG_DIRS"}) {
      ::setenv(variable, _folder->path().c_str(), 1);
    }
  }
  ~Links() override { ::unsetenv(kVariable); }
  static fs::path desktop() { return ::getenv(kVariable); }

 private:
  std::optional<ScratchFolder> _folder;
};

TEST_F(Links, AreOpenedByTheBrowserIfTheHostCannotShowPages) {
  if (!fs::exists(desktop() / "browser")) installBrowser(desktop());
  EXPECT_EXIT(openWithoutPages(kLink, true), testing::ExitedWithCode(0), "");
}

TEST_F(Links, LinkThatCannotBeOpenedCausesAWarning) {
  // No browser is installed for the first link. The other two links are not http or https URLs, so the installed
  // browser must not get them.
  EXPECT_EXIT(openWithoutPages(kLink, false), testing::ExitedWithCode(0), "");
  if (!fs::exists(desktop() / "browser")) installBrowser(desktop());
  EXPECT_EXIT(openWithoutPages("ftp://shop.example/", false), testing::ExitedWithCode(0), "");
  EXPECT_EXIT(openWithoutPages("https://shop.example/ --flag", false), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace oq::test
