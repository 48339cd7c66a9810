#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <map>
#include <thread>

#include "Model/OQRecordTree.h"
#include "Model/OQWindowData.h"
#include "support/EngineTest.h"

namespace oq::test {
namespace {

/// Many threads bring events while lists replace each other, through answers that arrive side by side.
class EngineStressTest : public EngineTest {
 protected:
  EngineStressTest() {
    network = std::make_shared<ScriptedTransport>(DispatchQueue::concurrent("test.network"));
    setURLTransport(network);
  }
};

constexpr int windowCount = 12;

/// The same windows in another order each time, each with a count of 2.
Array shuffledCampaigns(int turn) {
  Array records;
  for (int i = 0; i < windowCount; ++i) {
    const int id = (i + turn) % windowCount + 1;
    records.push_back(
        campaign(std::to_string(id), "e" + std::to_string(id), {{"count", 2}, {"picture", nullptr}}));
  }
  return records;
}

TEST_F(EngineStressTest, NoWindowIsShownTwiceInARunOrMoreOftenThanItsCount) {
  constexpr int threads = 8;
  constexpr int eventsPerThread = 400;
  std::map<std::string, int> shownInAll;
  for (int run = 0; run < 3; ++run) {
    relaunch();
    std::atomic<int> turn{0};
    network->script("/push/sdk/in_app", [&](const auto&) {
      return ScriptedTransport::Answer{textOf(listAnswer(shuffledCampaigns(turn++)))};
    });
    deliverSubscriptions({campaign("1", "subscribed", {{"count", 1}})});
    std::vector<std::thread> workers;
    std::barrier start(threads + 1);
    for (int t = 0; t < threads; ++t) {
      workers.emplace_back([&, t] {
        start.arrive_and_wait();
        for (int i = 0; i < eventsPerThread; ++i) {
          engine->onEventDataReceived(uploadInfo("e" + std::to_string((i + t) % (windowCount + 5) + 1)));
          if (i % 100 == 50) engine->getInAppList();
          if (i % 100 == 99) engine->onEventDataReceived(uploadInfo("subscribed"));
        }
      });
    }
    start.arrive_and_wait();
    for (std::thread& worker : workers) worker.join();
    settle();

    std::map<std::string, int> shownInRun;
    for (const std::string& id : engine->shownIds()) {
      EXPECT_EQ(++shownInRun[id], 1) << "window " << id << " twice in run " << run;
      ++shownInAll[id];
    }
    const auto onDisk = usedCountsOnDisk();
    ASSERT_EQ(onDisk.size(), static_cast<std::size_t>(windowCount));
    for (const auto& [id, used] : onDisk) {
      EXPECT_EQ(used, shownInAll[std::to_string(id)]) << "the file's count of window " << id;
      EXPECT_LE(used, 2);
    }
    EXPECT_EQ(shownInRun.size(), run < 2 ? static_cast<std::size_t>(windowCount) : 0u);
  }
}

TEST_F(EngineStressTest, AnEventThatMeetsTheFirstListIsMatchedOrReplayed) {
  Array records;
  for (int i = 1; i <= 3; ++i) {
    records.push_back(campaign(std::to_string(i), "e" + std::to_string(i), {{"picture", nullptr}}));
  }
  network->answer("/push/sdk/in_app", textOf(listAnswer(records)));
  for (int round = 0; round < 50; ++round) {
    relaunch();
    engine->setInAppDataArray({});
    engine->setRecordTree(nullptr);
    std::vector<std::thread> workers;
    std::barrier start(4);
    for (int i = 1; i <= 3; ++i) {
      workers.emplace_back([&, i] {
        start.arrive_and_wait();
        engine->onEventDataReceived(uploadInfo("e" + std::to_string(i)));
      });
    }
    start.arrive_and_wait();
    engine->getInAppList();
    for (std::thread& worker : workers) worker.join();
    settle();
    ASSERT_EQ(engine->shown().size(), 3u) << "round " << round;
    ASSERT_TRUE(engine->waitingEvents().empty());
  }
}

TEST_F(EngineStressTest, TwoLoginsAtOnceFetchTheWindowsOnce) {
  relaunch();
  engine->setUserId("ann");
  network->answer("/push/sdk/login", R"({"code":0,"token":"T"})");
  std::vector<std::thread> workers;
  for (int i = 0; i < 4; ++i) workers.emplace_back([&] { engine->login(); });
  for (std::thread& worker : workers) worker.join();
  settle();
  EXPECT_EQ(network->requests("/push/sdk/in_app").size(), 1u);
  EXPECT_EQ(network->requests("/push/sdk/event/subscribe").size(), 4u);
}

}  // namespace
}  // namespace oq::test
