// SPDX-License-Identifier: Apache-2.0
#include "Utils/OQLogger.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <regex>
#include <sstream>
#include <thread>
#include <utility>
#include <vector>

#include "Foundation/Files/Bundle.h"
#include "Foundation/System/Device.h"
#include "Foundation/Values/Date.h"
#include "Requests/OQSession.h"
#include "Storage/OQUserDefaults.h"
#include "oqsdk/OQSDKConstants.h"
#include "src/TemporaryFolder.h"
#include "support/EngineTest.h"
#include "support/Threads.h"

namespace oq {
namespace {

using test::textOfFile;

Date noon() {
  return DateFormatter("yyyy-MM-dd HH:mm:ss").dateFromString("2026-03-10 12:00:00").value();
}

/// A folder for logs, and a clock that is stopped at noon.
class Logger : public testing::Test {
 protected:
  Logger() { setNow(noon()); }
  ~Logger() override {
    OQLogger::setFileLimit(std::nullopt);
    setCurrentDateProvider({});
  }
  static void setNow(Date now) {
    setCurrentDateProvider([now] { return now; });
  }
  std::filesystem::path logs() const { return folder.path() / "Documents" / "Log"; }
  void put(const std::filesystem::path& name) const {
    std::filesystem::create_directories((logs() / name).parent_path());
    std::ofstream(logs() / name) << "old";
  }
  std::size_t countOf(const std::filesystem::path& extension) const {
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(logs())) {
      count += entry.path().extension() == extension;
    }
    return count;
  }

  test::TemporaryFolder folder;
};

std::string afterHeader(const OQLogger& logger) {
  std::string text = textOfFile(logger.logFilePath());
  std::size_t end = text.find("\n\n");
  return end == std::string::npos ? "no header" : text.substr(end + 2);
}

TEST_F(Logger, WritesAHeaderAndStampedEntries) {
  setMainBundle("com.example.shop", "4.2");
  mode_t mask = ::umask(0277);
  OQLogger logger;
  ::umask(mask);
  logger._log("one 100%@ %d");
  setNow(noon() + std::chrono::milliseconds(59'999));
  logger._log("two\nlines");
  setNow(noon() - std::chrono::microseconds(1));
  logger._log("");
  logger.flush();
  EXPECT_EQ(logger.logFilePath(), logs() / "oqsdk_2026-03-10 12:00:00.log");
  EXPECT_EQ(textOfFile(logger.logFilePath()), "SDKVersion:" + OQSDKVersion + "\n设备名称:" + machineIdentifier() +
                                                  "\n手机系统版本:" + operatingSystemVersion() +
                                                  "\n应用版本号:4.2\n\n"
                                                  "2026-03-10 12:00:00.000  one 100%@ %d\n"
                                                  "2026-03-10 12:00:59.999  two\nlines\n"
                                                  "2026-03-10 11:59:59.999  \n");
  namespace fs = std::filesystem;
  EXPECT_EQ(fs::status(logger.logFilePath()).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  EXPECT_EQ(fs::status(logs()).permissions(), fs::perms::owner_all);
}

TEST_F(Logger, EachStartRemovesOneFileIfThereAreTen) {
  for (int i = 0; i < 3; ++i) {
    for (const char* name : {"b%.log", "a/%.log", "c%.log", "A%.LOG", "A%.log.txt"})
      put(std::regex_replace(name, std::regex("%"), std::to_string(i)));
  }
  auto start = [&](int second) {
    setNow(noon() + std::chrono::seconds(second));
    OQLogger logger(logs());
    return countOf(".log");
  };
  EXPECT_EQ(start(0), 10u) << "files in subfolders count";
  EXPECT_EQ(start(1), 10u);
  EXPECT_FALSE(std::filesystem::exists(logs() / "a/0.log"));
  for (int i = 10; i < 25; ++i) put("oqsdk_2025-01-" + std::to_string(i) + ".log");
  EXPECT_EQ(start(2), 25u);
  EXPECT_EQ(start(2), 24u) << "a second start in the same second uses the same file";
  EXPECT_EQ(countOf(".LOG"), 3u) << "another extension";
}

TEST_F(Logger, FollowsNoLinkOutOfItsFolder) {
  namespace fs = std::filesystem;
  const fs::path outside = folder.path() / "outside", own = "oqsdk_2026-03-10 12:00:00.log";
  fs::create_directories(outside);
  for (int i = 0; i < 12; ++i) std::ofstream(outside / ("a" + std::to_string(i) + ".log")) << "precious";
  put("b.log");
  // This start's file name is a link to a foreign file, a link to a missing file, or a FIFO without a reader.
  for (const char* target : {"a0.log", "made.log", ""}) {
    fs::remove(logs() / own);
    if (*target) fs::create_symlink(outside / target, logs() / own);
    EXPECT_TRUE(*target || ::mkfifo((logs() / own).c_str(), 0600) == 0);
    OQLogger logger(logs());
    logger._log("not there");
    logger.flush();
    EXPECT_FALSE(fs::exists(outside / "made.log"));
  }
  fs::remove(logs() / own);
  // Retention neither counts nor removes files behind a link; if a link is the first entry, the link itself is removed.
  fs::create_directory_symlink(outside, logs() / "a");
  OQLogger::handleFilesOfDirectory(logs());
  EXPECT_TRUE(fs::exists(logs() / "b.log"));
  for (int i = 0; i < 9; ++i) put("c" + std::to_string(i) + ".log");
  fs::create_directory_symlink(outside, logs() / "0.log");
  OQLogger::handleFilesOfDirectory(logs());
  EXPECT_FALSE(fs::exists(fs::symlink_status(logs() / "0.log")));
  EXPECT_TRUE(fs::exists(logs() / "b.log"));
  for (int i = 0; i < 12; ++i) EXPECT_EQ(textOfFile(outside / ("a" + std::to_string(i) + ".log")), "precious");
}

TEST_F(Logger, EntriesKeepTheOrderOfTheirThreadsAndTimes) {
  setCurrentDateProvider({});
  OQLogger logger(logs(), 4096);  // so small that callers also wait for the disk
  constexpr int threads = 8, entries = 500;
  test::inThreads(threads, [&](int thread) {
    for (int i = 0; i < entries; ++i) logger._log(std::to_string(thread) + " " + std::to_string(i));
  });
  logger.flush();
  std::istringstream lines(afterHeader(logger));
  std::vector<int> next(threads);
  std::string date, time, lastTime;
  for (int thread, number; lines >> date >> time >> thread >> number; lastTime = time) {
    ASSERT_LE(lastTime, time);
    ASSERT_EQ(number, next.at(static_cast<std::size_t>(thread))++);
  }
  EXPECT_THAT(next, testing::Each(entries));
}

TEST_F(Logger, SizeLimitedFilesAreAtMostTenAndKeepTheNewestEntries) {
  OQLogger::setFileLimit(0);
  OQLogger first(logs());
  first._log("nowhere");
  first.flush();
  EXPECT_FALSE(std::filesystem::exists(logs()));
  OQLogger::setFileLimit(std::nullopt);
  first._log("of an unlimited start");
  first.flush();
  EXPECT_EQ(afterHeader(first), "2026-03-10 12:00:00.000  of an unlimited start\n");
  const std::size_t header = textOfFile(first.logFilePath()).find("\n\n") + 2;
  // Room for three entries of 26 bytes and one digit, all within one second.
  const std::size_t limit = header + 3 * 27;
  OQLogger::setFileLimit(limit);
  OQLogger logger(logs());
  for (int i = 0; i < 100; ++i) {
    logger._log(std::to_string(i % 10));
    if (i % 7 == 0) logger.flush();
    EXPECT_LE(countOf(".log"), 10u);
  }
  logger.flush();
  std::vector<std::filesystem::path> files(std::filesystem::directory_iterator(logs()), {});
  std::ranges::sort(files);
  ASSERT_EQ(files.size(), 10u);
  std::string entries;
  for (const auto& file : files) {
    EXPECT_TRUE(std::regex_match(file.filename().string(), std::regex("oqsdk_2026-03-10 12:00:[0-5]\\d\\.log")))
        << file;
    const std::string text = textOfFile(file);
    EXPECT_LE(text.size(), limit);
    EXPECT_TRUE(text.starts_with("SDKVersion:"));
    std::istringstream lines(text.substr(header));
    for (std::string line; std::getline(lines, line);) entries += line.back();
  }
  EXPECT_EQ(entries, "2345678901234567890123456789") << "nine full files, and the last one with one entry";
  EXPECT_EQ(logger.logFilePath(), files.back());
  // An entry that is larger than the limit has a file of its own.
  logger._log(std::string(limit, 'x'));
  logger._log("after");
  logger.flush();
  EXPECT_THAT(afterHeader(logger), testing::EndsWith("  after\n"));
  EXPECT_EQ(afterHeader(logger).size(), 31u);
  OQLogger::setFileLimit(std::nullopt);
  for (int i = 0; i < 10; ++i) logger._log("after");
  logger.flush();
  EXPECT_EQ(afterHeader(logger).size(), 11 * 31u);
}

/// Logs right before the process exits.
[[noreturn]] void logAndExit(const std::filesystem::path& folder) {
  setApplicationDataDirectory(folder);
  for (int i = 0; i < 1000; ++i) OQLogger::log("entry %@", i);
  std::exit(0);
}

TEST_F(Logger, WaitingEntriesAreOnDiskAfterTheProcessHasEnded) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  // The exiting process runs this test again from its start; the first process passes the folder to it.
  const char* variable = "OQSDK_TEST_LOG_FOLDER";
  ::setenv(variable, folder.path().c_str(), 0);
  std::filesystem::path place = ::getenv(variable);
  EXPECT_EXIT(logAndExit(place), testing::ExitedWithCode(0), "");
  ::unsetenv(variable);
  const auto file = *std::filesystem::directory_iterator(place / "Documents/Log");
  EXPECT_THAT(textOfFile(file), testing::EndsWith("  entry 999\n"));
}

class LogHandler : public test::WorldTest {
 protected:
  ~LogHandler() override { OQLogger::setHandler(nullptr); }
};

TEST_F(LogHandler, GetsEveryEntryWithItsLevelAndWithoutTokens) {
  std::vector<std::pair<OQLogLevel, std::string>> got;
  OQLogger::setHandler([&](OQLogLevel level, std::string_view message) {
    got.emplace_back(level, message);
    OQLogger::log("caused by the handler");
  });
  OQUserDefaults::groupDefaults().setObject("stored-token", "oq_token");
  OQSession session;
  session.takeToken("quote\"d");
  session.takeToken("quote\"d and longer");
  session.takeToken(nullptr);
  OQLogger::log("%@", JSONValue{{"token", "quote\"d"}, {"other", "stored-token."}});
  OQLogger::error("quote\"d and longer, stored-token");
  OQLogger::error(404);
  OQLogger::error(Error{URLErrorDomain, -1001, "too slow"});
  using enum OQLogLevel;
  EXPECT_THAT(got, testing::ElementsAre(std::pair(Info, "{\n  \"token\" : \"***\",\n  \"other\" : \"***.\"\n}"),
                                        std::pair(Error, "***, ***"),
                                        std::pair(Error, "statusCode:404\ndescripton:not found\n"),
                                        std::pair(Error, "code:-1001\ndescripton:too slow\n")));
  const auto entries = logEntries();
  ASSERT_EQ(entries.size(), 8u) << "the handler's own entries are in the file";
  EXPECT_EQ(entries[0], "{\n  \"token\" : \"quote\\\"d\",\n  \"other\" : \"stored-token.\"\n}");
  OQLogger::setFileLimit(0);
  OQLogger::log("only for the handler");
  OQLogger::setFileLimit(std::nullopt);
  EXPECT_EQ(got.back().second, "only for the handler");
  EXPECT_EQ(logEntries().size(), 8u);
}

TEST_F(LogHandler, RemovalWaitsForRunningCalls) {
  constexpr int loggers = 3, rounds = 300;
  std::atomic<bool> isStopped = false;
  std::vector<std::jthread> threads = test::inThreads(loggers, [&](int) {
    while (!isStopped) OQLogger::log("entry");
  });
  for (int i = 0; i < rounds; ++i) {
    const auto isRemoved = std::make_shared<std::atomic<bool>>(false);
    const auto called = std::make_shared<std::atomic<bool>>(false);
    OQLogger::setHandler([=](OQLogLevel, std::string_view) {
      *called = true;
      std::this_thread::yield();
      EXPECT_FALSE(*isRemoved) << "a call outlives the removal";
      // A handler may remove itself, also on several threads at once.
      if (i % 3 == 0) OQLogger::setHandler(nullptr);
    });
    while (!*called) std::this_thread::yield();
    if (i % 2 == 0) OQLogger::setHandler([](OQLogLevel, std::string_view) {});
    OQLogger::setHandler(nullptr);
    *isRemoved = true;
  }
  isStopped = true;
}

}  // namespace
}  // namespace oq
