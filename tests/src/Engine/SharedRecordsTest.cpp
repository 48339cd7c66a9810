// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <thread>

#include "Foundation/Files/FileManager.h"
#include "Model/OQRecordTree.h"
#include "Model/OQWindowData.h"
#include "Storage/OQDataArchiver.h"
#include "Storage/OQRecordStore.h"
#include "support/EngineTest.h"

namespace oq::test {
namespace {

using testing::ElementsAre;
using testing::Pair;

/// Two engines with the same folder, each with its own records and lock, represent two processes.
class SharedRecordsTest : public EngineTest {
 protected:
  SharedRecordsTest() {
    other = std::make_shared<RecordingEngine>();
    // Both have read that there are no records yet.
    EXPECT_TRUE(engine->recordTree()->copyOfNodes().empty());
    EXPECT_TRUE(other->recordTree()->copyOfNodes().empty());
  }
  ~SharedRecordsTest() override {
    settle();
    other->closeAll();
  }

  void deliverToOther(const JSONArray& records) {
    std::swap(engine, other);
    deliverInApp(records);
    std::swap(engine, other);
  }
  std::string outcomeIn(RecordingEngine& process, const std::string& event) {
    process.keepRecentDecisions(1);
    process.onEventDataReceived(uploadInfo(event));
    settle();
    return std::string(process.recentDecisions().at(0).at("outcome").toString());
  }
  static std::shared_ptr<OQRecordTreeNode> node(const RecordingEngine& process, std::int64_t id) {
    return process.recordTree()->findTreeNodeById(id);
  }
  bool isClosedOnDisk(std::int64_t id) const {
    for (const auto& each : OQRecordStore().read())
      if (each->nodeId() == id) return each->isUserClosed();
    return false;
  }

  std::shared_ptr<RecordingEngine> other;
  OQRecordStore elsewhere;
  static constexpr const char* shown = "counted and handed to the screen";
};

TEST_F(SharedRecordsTest, WritesOfOneProcessKeepTheRecordsOfOthers) {
  deliverInApp({campaign("7", "buy", {{"count", 2}})});
  deliverToOther({campaign("8", "view", {{"count", 2}})});
  EXPECT_EQ(outcomeIn(*engine, "buy"), shown);
  EXPECT_EQ(outcomeIn(*other, "view"), shown);
  EXPECT_THAT(usedCountsOnDisk(), ElementsAre(Pair(7, 1), Pair(8, 1)));
  // `engine` gets a newer list. `other` then adopts the new count and end time, and writes them together with the
  // display that it counts itself.
  deliverInApp({campaign("7", "buy", {{"count", 5}, {"endTime", "2026-04-30 23:59:59"}})});
  other->syncWithTreeNode(node(*other, 7));
  EXPECT_EQ(node(*other, 7)->count(), 5);
  EXPECT_EQ(node(*other, 7)->endTime(), JSONValue("2026-04-30 23:59:59"));
  EXPECT_THAT(usedCountsOnDisk(), ElementsAre(Pair(7, 2), Pair(8, 1)));
  EXPECT_FALSE(node(*engine, 8)->isActivated()) << "shown in the other process only";
}

TEST_F(SharedRecordsTest, WindowClosedInOneProcessIsClosedInAll) {
  deliverInApp({campaign("7", "buy", {{"count", 9}})});
  deliverToOther({campaign("7", "buy", {{"count", 9}})});
  EXPECT_EQ(outcomeIn(*engine, "buy"), shown);
  engine->shown().at(0).action(3, nullptr);
  EXPECT_EQ(outcomeIn(*other, "buy"), "closed by the user in an earlier run");
  // After a later write by the other process, the window is still closed.
  other->syncWithTreeNode(node(*other, 7));
  EXPECT_TRUE(isClosedOnDisk(7));
  EXPECT_TRUE(node(*other, 7)->isActivated());
}

TEST_F(SharedRecordsTest, CountsThatCouldNotBeWrittenAreAddedLater) {
  deliverInApp({campaign("7", "buy", {{"count", 4}})});
  deliverToOther({campaign("7", "buy", {{"count", 4}})});
  const auto file = documentsDirectory() / OQRecordTreeDataFileName;
  std::filesystem::rename(file, folder() / "kept");
  std::filesystem::create_directories(file / "in the way");
  for (const auto& process : {engine, other}) process->syncWithTreeNode(node(*process, 7));
  EXPECT_EQ(node(*other, 7)->usedCount(), 1) << "without the other process's count";
  EXPECT_EQ(logEntriesButRequests().back(), "syncRecordTree 失败！");
  std::filesystem::remove_all(file);
  std::filesystem::rename(folder() / "kept", file);
  engine->syncWithTreeNode(node(*engine, 7));
  other->syncWithTreeNode(node(*other, 7));
  EXPECT_THAT(usedCountsOnDisk(), ElementsAre(Pair(7, 4)));
  EXPECT_EQ(outcomeIn(*other, "buy"), "count used up");
}

TEST_F(SharedRecordsTest, NothingIsCountedWhileAnotherProcessLocksTheRecords) {
  deliverInApp({campaign("7", "buy"), campaign("8", "view"), campaign("9", "sell")});
  EXPECT_EQ(outcomeIn(*engine, "view"), shown);
  auto access = std::make_unique<OQRecordStore::Access>(elsewhere.access());
  EXPECT_EQ(outcomeIn(*engine, "buy"), "records are busy");
  EXPECT_EQ(engine->shownIds(), (std::vector<std::string>{"8"}));
  EXPECT_EQ(node(*engine, 7)->usedCount(), 0);
  EXPECT_EQ(outcomeIn(*engine, "view"), "count used up") << "this needs no lock";
  // New lists and closed windows take effect at once, and are written when the lock is free.
  deliverInApp({campaign("10", "stay")});
  engine->shown().at(0).action(3, nullptr);
  EXPECT_TRUE(node(*engine, 8)->isUserClosed());
  EXPECT_TRUE(node(*engine, 10));
  EXPECT_FALSE(isClosedOnDisk(8));
  access.reset();
  // Another thread writes them, and then releases its reference to the engine.
  while (!isClosedOnDisk(8) || engine.use_count() != 2) std::this_thread::yield();
  EXPECT_EQ(outcomeIn(*engine, "stay"), shown);
  access = std::make_unique<OQRecordStore::Access>(elsewhere.access());
  engine->shown().at(1).action(3, nullptr);
  access.reset();
  while (!isClosedOnDisk(10) || engine.use_count() != 3) std::this_thread::yield();
}

}  // namespace
}  // namespace oq::test
