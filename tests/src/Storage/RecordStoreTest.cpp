#include "Storage/OQRecordStore.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include "Model/OQRecordTree.h"
#include "Storage/OQDataArchiver.h"
#include "src/TemporaryFolder.h"

namespace oq {
namespace {

/// Two stores over one folder stand for two processes.
class RecordStore : public testing::Test {
 protected:
  static OQRecordStore::Nodes nodes(std::int64_t usedCount) {
    auto node = std::make_shared<OQRecordTreeNode>();
    node->setNodeId(7);
    node->setCount(100);
    node->setUsedCount(usedCount);
    return {node};
  }
  static void write(OQRecordStore& store, std::int64_t usedCount) {
    ASSERT_TRUE(store.access().write(nodes(usedCount)));
  }
  /// The used count that another process wrote; nullopt for no change.
  static std::optional<std::int64_t> changeIn(OQRecordStore& store) {
    const auto changes = store.access().changesOfOthers();
    return changes ? std::optional(changes->at(0)->usedCount()) : std::nullopt;
  }

  test::TemporaryFolder folder;
  std::filesystem::path file = documentsDirectory() / OQRecordTreeDataFileName;
  std::filesystem::path lockFile = documentsDirectory() / OQRecordTreeLockFileName;
  OQRecordStore ours, theirs;
};

TEST_F(RecordStore, ReportsEachChangeOfOthersOnce) {
  EXPECT_TRUE(ours.read().empty());
  EXPECT_EQ(changeIn(ours), std::nullopt) << "no file yet";
  // Files of one size, written so quickly that they have one time, and with inode numbers that are used again.
  for (int value = 1; value < 60; value += 3) {
    write(ours, value);
    ASSERT_EQ(changeIn(ours), std::nullopt) << "our own write";
    write(theirs, value + 1);
    write(theirs, value + 2);
    ASSERT_EQ(changeIn(ours), value + 2);
    ASSERT_EQ(changeIn(ours), std::nullopt) << "known by now";
  }
  test::writeText(file, "torn");
  EXPECT_EQ(changeIn(ours), std::nullopt);
  std::filesystem::remove(file);
  EXPECT_EQ(changeIn(ours), std::nullopt);
  write(theirs, 5);
  EXPECT_EQ(changeIn(ours), 5);
  EXPECT_EQ(OQRecordStore().read().at(0)->usedCount(), 5);
}

TEST_F(RecordStore, GrantsAccessToOneAtATime) {
  auto access = ours.access();
  ASSERT_TRUE(access);
  EXPECT_FALSE(theirs.access());
  EXPECT_FALSE(ours.access()) << "another thread of the same process";
  EXPECT_TRUE(access.write(nodes(1)));
  EXPECT_TRUE(theirs.access());
  EXPECT_TRUE(ours.access());
}

TEST_F(RecordStore, AForkedProcessDoesNotKeepTheLock) {
  auto access = ours.access();
  const pid_t child = ::fork();
  if (child == 0) {
    ::pause();
    ::_exit(0);
  }
  access.release();
  EXPECT_TRUE(theirs.access());
  ::kill(child, SIGKILL);
  test::statusOf(child);
}

TEST_F(RecordStore, ALockFileThatWasReplacedLocksNoLonger) {
  auto access = ours.access();
  std::filesystem::remove(lockFile);
  auto next = theirs.access();
  EXPECT_TRUE(next);
  access.release();
  EXPECT_FALSE(ours.access());
}

TEST_F(RecordStore, WhereThereCanBeNoLockEachProcessGoesOnAlone) {
  std::filesystem::create_directory(lockFile);
  auto access = ours.access();
  EXPECT_TRUE(access);
  EXPECT_FALSE(ours.access()) << "threads still take turns";
  EXPECT_TRUE(theirs.access());
  EXPECT_TRUE(access.write(nodes(1)));
}

}  // namespace
}  // namespace oq
