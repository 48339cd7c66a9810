// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <map>
#include <random>

#include "Dispatch/DispatchQueue.h"
#include "Engine/OQSDKManager.h"
#include "Foundation/Files/FileManager.h"
#include "Foundation/Stores/UserDefaults.h"
#include "Foundation/Values/Format.h"
#include "Foundation/Values/Number.h"
#include "Model/OQRecordTree.h"
#include "Model/OQWindowData.h"
#include "Storage/OQDataArchiver.h"
#include "oqsdk/OQSDKConstants.h"
#include "support/EngineTest.h"
#include "support/ScratchFolder.h"

namespace oq::test {
namespace {

constexpr int windowCount = 12;

/// Reports each window through a pipe at the moment it would be shown.
class ReportingEngine : public OQSDKManager {
 public:
  explicit ReportingEngine(int pipe) : _pipe(pipe) {}

 protected:
  void presentWindow(const std::shared_ptr<OQWindowData>& window, WindowAction) override {
    const auto id = static_cast<std::uint8_t>(integerValue(window->windowId()));
    if (::write(_pipe, &id, 1) != 1) ::_exit(3);
  }

 private:
  const int _pipe;
};

OQCampaignList::Windows campaignsWithCount(int count) {
  OQCampaignList::Windows windows;
  for (int i = 0; i < windowCount; ++i) {
    windows.push_back(OQCampaignList::windowFrom(
        campaign(std::to_string(i), "e" + std::to_string(i), {{"count", count}, {"picture", nullptr}})));
  }
  return windows;
}

/// One run of an application, from its start until it has shown all its windows, or is killed.
[[noreturn]] void live(const std::filesystem::path& folder, int pipe, int count) {
  setApplicationDataDirectory(folder);
  DispatchQueue::installMain();
  setPlatformLogHandler([](std::string_view) {});
  setCurrentDateProvider([] { return Date(std::chrono::seconds(1773144000)); });
  const auto engine = std::make_shared<ReportingEngine>(pipe);
  OQRecordTree fresh;
  auto windows = campaignsWithCount(count);
  for (const auto& window : windows) fresh.addTreeNode(OQCampaignList::recordFor(*window));
  engine->setInAppDataArray(std::move(windows));
  engine->recordTree()->updateWithTree(fresh);
  for (int i = 0; i < windowCount; ++i) {
    engine->onEventDataReceived(uploadInfo("e" + std::to_string(i)));
    DispatchQueue::drainMain();
  }
  ::_exit(0);
}

/// Runs of the application, one after the other, with the same files.
class Lives {
 public:
  explicit Lives(int count) : _count(count) {}

  /// Starts a run and kills it some time after it has shown `showings` windows. True if it was killed before its end.
  bool run(int showings, int microseconds) {
    int ends[2];
    if (::pipe(ends) != 0) throw std::runtime_error("no pipe");
    const pid_t child = ::fork();
    if (child == 0) {
      ::close(ends[0]);
      live(_folder.path(), ends[1], _count);
    }
    ::close(ends[1]);
    std::uint8_t id = 0;
    while (showings > 0 && ::read(ends[0], &id, 1) == 1) {
      ++shown[id];
      --showings;
    }
    ::usleep(static_cast<useconds_t>(microseconds));
    ::kill(child, SIGKILL);
    while (::read(ends[0], &id, 1) == 1) ++shown[id];
    ::close(ends[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status) || WEXITSTATUS(status) == 0) << "status " << status;
    return WIFSIGNALED(status);
  }

  /// The counts with which the next run would start.
  std::map<int, std::int64_t> counted() const {
    setApplicationDataDirectory(_folder.path());
    std::map<int, std::int64_t> counts;
    const auto nodes =
        OQDataArchiver::getDataForPath<OQRecordTreeNode>(documentsDirectory() / OQRecordTreeDataFileName);
    if (!nodes) return counts;
    for (const auto& node : *nodes) counts[static_cast<int>(node->nodeId())] = node->usedCount();
    return counts;
  }

  std::map<int, int> shown;

 private:
  const int _count;
  ScratchFolder _folder;
};

void killOverAndOver(int kills) {
  std::mt19937 random(std::random_device{}());
  const auto pick = [&](int most) { return static_cast<int>(random() % static_cast<unsigned>(most)); };
  // Low enough that some windows reach their count during the test.
  const int count = kills * 3 / 4;
  Lives lives(count);
  int killed = 0;
  for (int life = 0; life < kills * 8 && killed < kills; ++life) {
    killed += lives.run(pick(windowCount), pick(3000)) ? 1 : 0;
    const auto counted = lives.counted();
    for (const auto& [id, times] : lives.shown) {
      const auto known = counted.find(id);
      ASSERT_TRUE(known != counted.end() && times <= known->second)
          << "window " << id << " was shown " << times << " times, more often than its stored count";
      ASSERT_LE(times, count);
    }
  }
  EXPECT_EQ(killed, kills);
  // Then runs until every window has reached its count.
  for (int life = 0; life <= count; ++life) lives.run(windowCount + 1, 0);
  for (const auto& [id, times] : lives.counted()) EXPECT_EQ(times, count) << "window " << id;
  int shown = 0;
  for (const auto& [id, times] : lives.shown) {
    EXPECT_LE(times, count) << "window " << id;
    shown += times;
  }
  std::printf("[ kills    ] display count: %d kills, %d showings of %d windows, at most %d each\n", killed, shown,
              windowCount, count);
}

/// OQSDK_KILLS sets a larger number of kills. Runs in a separate program, since each run is a fork.
TEST(KillTest, NoWindowIsShownMoreOftenThanItsCountOverAllRuns) {
  const char* asked = std::getenv("OQSDK_KILLS");
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        killOverAndOver(asked ? std::stoi(asked) : 50);
        std::fflush(stdout);
        ::_exit(HasFailure() ? 1 : 0);
      },
      ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace oq::test
