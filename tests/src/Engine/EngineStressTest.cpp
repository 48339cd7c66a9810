// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <future>
#include <iostream>
#include <map>
#include <random>
#include <thread>

#include "Foundation/Values/Format.h"
#include "Model/OQRecordTree.h"
#include "Model/OQWindowData.h"
#include "Utils/OQLogger.h"
#include "support/EngineTest.h"
#include "support/ImmediateTransport.h"
#include "support/Threads.h"

namespace oq::test {
namespace {

/// Many threads record events while lists are replaced by responses that arrive in parallel.
class EngineStressTest : public EngineTest {
 protected:
  EngineStressTest() {
    network = std::make_shared<ScriptedTransport>(DispatchQueue::concurrent("test.network"));
    setURLTransport(network);
  }
};

constexpr int windowCount = 12;

/// Windows with a count of 2. Each has the condition "e" followed by the window's id. `turn` rotates their order.
JSONArray campaigns(int number, int first = 0, int turn = 0) {
  JSONArray records;
  for (int i = 0; i < number; ++i) {
    const std::string id = std::to_string(first + (i + turn) % number);
    records.push_back(campaign(id, "e" + id, {{"count", 2}, {"picture", nullptr}}));
  }
  return records;
}

/// Tests with millions of events would otherwise fill the disk with the log.
void emptyLog() {
  OQLogger::getInstance().flush();
  std::filesystem::resize_file(OQLogger::getInstance().logFilePath(), 0);
}

/// Every three runs share their records. Each window has a count of 2, so the first two of them show it and the third
/// does not. OQSDK_STRESS_SEEDS sets a larger number of runs.
TEST_F(EngineStressTest, SixteenThreadsRecordEventsWhileListsAreReplaced) {
  constexpr int threads = 16;
  constexpr int eventsPerThread = 10000;
  const char* asked = std::getenv("OQSDK_STRESS_SEEDS");
  const unsigned seeds = asked ? static_cast<unsigned>(std::stoi(asked)) : 3;
  int lists = 0;
  for (unsigned seed = 0; seed < seeds; ++seed) {
    SCOPED_TRACE(seed);
    const unsigned run = seed % 3;
    relaunch();
    if (run == 0) engine->setRecordTree(nullptr);
    std::atomic<int> turn{0};
    network->script("/push/sdk/in_app", [&](const auto&) {
      JSONArray records = campaigns(windowCount, 1, turn++);
      for (JSONValue& record : records) {
        if (turn % 3 == 0) record.as_object()["preEvent"] = {{"xwhat", "e1"}, {"xcontext", {{"k", "1"}}}};
      }
      return ScriptedTransport::Answer{textOf(listAnswer(records))};
    });
    network->answer("/push/sdk/event/subscribe", textOf(listAnswer({campaign("1", "subscribed")})));
    std::atomic<int> running{threads};
    auto workers = inThreads(threads, [&](int t) {
      std::mt19937 random(seed * 100 + static_cast<unsigned>(t));
      for (int i = 0; i < eventsPerThread; ++i) {
        const unsigned number = random() % (windowCount + 6) + 1;
        engine->onEventDataReceived(uploadInfo("e" + std::to_string(number), {{"k", std::to_string(random() % 3)}}));
      }
      --running;
    });
    while (running > 0) {
      engine->getInAppList();
      engine->getSubscribeList();
      (void)engine->diagnostics();
      settle();
    }
    workers.clear();
    settle();
    std::map<std::string, int> shown;
    for (const std::string& id : engine->shownIds()) EXPECT_EQ(++shown[id], 1) << id;
    EXPECT_EQ(shown.size(), run < 2 ? static_cast<std::size_t>(windowCount) : 0u);
    const auto onDisk = usedCountsOnDisk();
    EXPECT_EQ(onDisk.size(), static_cast<std::size_t>(windowCount));
    for (const auto& [id, used] : onDisk) EXPECT_EQ(used, run == 0 ? 1 : 2) << id;
    lists += turn;
    emptyLog();
  }
  std::printf("[ seeds    ] %u seeds, %d threads with %d events each, in parallel %d lists\n", seeds, threads,
              eventsPerThread, lists);
}

#ifdef __SANITIZE_THREAD__
/// Proves that the sanitizer would report a race in our code.
TEST(ThreadSanitizerTest, ReportsARaceInACampaign) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        OQWindowData window;
        const auto change = [&] {
          for (int i = 0; i < 1000; ++i) window.setCount(i);
        };
        std::thread other(change);
        change();
        other.join();
        ::_exit(0);
      },
      ::testing::ExitedWithCode(66), "ThreadSanitizer: data race");
}
#endif

TEST_F(EngineStressTest, EventDuringTheInstallationOfTheFirstListIsMatched) {
  network->answer("/push/sdk/in_app", textOf(listAnswer(campaigns(4000))));
  for (int turn = 0; turn < 3; ++turn) {
    relaunch();
    engine->setInAppDataArray({});
    engine->setRecordTree(nullptr);
    const auto tree = engine->recordTree();
    auto workers = inThreads(3, [&](int i) {
      auto event = std::make_shared<OQWindowEvent>();
      event->setModelWithDic(uploadInfo("e" + std::to_string(i)));
      while (!tree->findTreeNodeById(i)) std::this_thread::yield();  // until the list's records are being merged
      engine->triggerEventMatchInApp(event);
    });
    engine->getInAppList();
    workers.clear();
    settle();
    EXPECT_EQ(engine->shown().size(), 3u);
    EXPECT_TRUE(engine->waitingEvents().empty());
  }
}

TEST_F(EngineStressTest, ConcurrentLoginsFetchTheWindowsOnce) {
  engine->setUserId("ann");
  network->answer("/push/sdk/login", R"({"code":0,"token":"T"})");
  inThreads(4, [&](int) { engine->login(); });
  settle();
  EXPECT_EQ(network->requests("/push/sdk/in_app").size(), 1u);
  EXPECT_EQ(network->requests("/push/sdk/event/subscribe").size(), 4u);
}

double residentMegabytes() {
  std::size_t total = 0, resident = 0;
  std::ifstream("/proc/self/statm") >> total >> resident;
  return static_cast<double>(resident * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE))) / 1e6;
}

std::ptrdiff_t descriptorCount() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

/// OQSDK_SOAK_EVENTS sets a larger number of events.
TEST_F(EngineTest, MemoryAndDescriptorsStayFlatOverManyEvents) {
  constexpr int sections = 100, threads = 4;
  const char* asked = std::getenv("OQSDK_SOAK_EVENTS");
  const std::int64_t events = asked ? std::atoll(asked) : 20'000;
  int lists = 0;
  setURLTransport(std::make_shared<ImmediateTransport>([&](const std::string& path) {
    JSONArray records = campaigns(windowCount, 0, path == "/push/sdk/in_app" ? lists++ : 0);
    for (JSONValue& record : records) record.as_object()["count"] = 1'000'000'000;
    return std::optional(textOf(listAnswer(records)));
  }));
  engine->getSubscribeList();
  double early = 0;
  std::ptrdiff_t earlyDescriptors = 0;
  std::size_t shown = 0;
  for (int section = 0; section < sections; ++section) {
    engine->getInAppList();
    if (section % 10 == 0) {
      for (const auto& node : engine->recordTree()->copyOfNodes()) node->setActivated(false);
    }
    inThreads(threads, [&](int t) {
      std::mt19937 random(static_cast<unsigned>(section * threads + t));
      for (std::int64_t i = 0; i < events / sections / threads; ++i) {
        const std::string name = "e" + std::to_string(random() % (2 * windowCount));
        engine->onEventDataReceived(uploadInfo(name, {{"k", std::to_string(random() % 1000)}}));
      }
    });
    settle();
    shown += engine->shown().size();
    engine->closeAll();
    emptyLog();
    if (section != sections / 10) continue;
    early = residentMegabytes();
    earlyDescriptors = descriptorCount();
  }
  const double late = residentMegabytes();
  std::printf(
      "[ soak     ] %lld events, %d lists, %zu windows shown: memory %.1f MB after a tenth, %.1f MB at the end\n",
      static_cast<long long>(events), lists, shown, early, late);
  EXPECT_GT(shown, 0u);
  EXPECT_EQ(descriptorCount(), earlyDescriptors);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  EXPECT_LT(late, early + 8);
#endif
}

using Callout = std::function<void(const std::string& where)>;

class CallingEngine : public RecordingEngine {
 public:
  Callout callout;

 protected:
  void presentWindow(const std::shared_ptr<OQWindowData>& window, WindowAction action) override {
    callout("window");
    RecordingEngine::presentWindow(window, std::move(action));
  }
};

void useAllOf(OQSDKManager& engine) {
  engine.onEventDataReceived(uploadInfo("other"));
  engine.getInAppList();
  engine.syncRecordTree();
  engine.syncInAppData();
  engine.setNetwork(engine.network());
  (void)engine.recentDecisions();
  (void)engine.inAppDataArray();
  (void)engine.waitingEvents();
  (void)engine.recordTree()->allNodes();
  OQLogger::getInstance().flush();
}

/// During each callout of the engine, another thread uses the whole engine, and the callout waits for that thread. If
/// the engine held a lock, this would deadlock.
TEST_F(EngineTest, HoldsNoLockDuringCallouts) {
  const auto calling = std::make_shared<CallingEngine>();
  engine = calling;
  std::map<std::string, int> callouts;
  std::atomic<bool> isUsed{false};
  const Callout callout = [&](const std::string& where) {
    if (isUsed.exchange(true)) return;  // caused by the other thread
    if (++callouts[where] > 2) {
      isUsed = false;
      return;
    }
    auto use = std::async(std::launch::async, [&] { useAllOf(*calling); });
    if (use.wait_for(std::chrono::seconds(60)) != std::future_status::ready) {
      std::cerr << "a lock is held while calling out: " << where << std::endl;
      std::abort();
    }
    isUsed = false;
  };
  calling->callout = callout;
  setPlatformLogHandler([&](std::string_view) { callout("platform log"); });
  setURLTransport(std::make_shared<ImmediateTransport>([&](const std::string& path) -> std::optional<std::string> {
    callout(path);
    if (path == "/push/sdk/login") return R"({"code":0,"token":"T"})";
    if (path == "/push/sdk/event/subscribe") return textOf(listAnswer({campaign("9", "buy")}));
    if (path == "/push/sdk/in_app") return textOf(listAnswer({campaign("1", "buy"), campaign("2", "view")}));
    return path.starts_with("/push") ? std::optional(R"({"code":0})") : std::nullopt;
  }));
  engine->onEventDataReceived(uploadInfo("buy"));  // waits for the lists
  engine->login();
  while (DispatchQueue::drainMain() > 0) {
  }
  engine->onEventDataReceived(uploadInfo("view"));
  engine->shown().at(0).action(3, nullptr);
  EXPECT_EQ(engine->shownIds(), (std::vector<std::string>{"1", "2"}));
  for (const char* where : {"/push/sdk/login", "/push/sdk/event/subscribe", "/push/sdk/in_app", "/1.png",
                            "/push/sdk/event/trigger", "/push/sdk/in_app/callback", "platform log", "window"}) {
    EXPECT_GT(callouts[where], 0) << where;
  }
  setPlatformLogHandler([](std::string_view) {});
}

}  // namespace
}  // namespace oq::test
