// SPDX-License-Identifier: Apache-2.0
#include "Storage/OQRecordStore.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <future>
#include <thread>

#include "Model/OQRecordTree.h"
#include "Storage/OQDataArchiver.h"
#include "src/TemporaryFolder.h"

namespace oq {
namespace {

/// Two stores in one folder represent two processes.
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
  /// The used count that another process wrote; nullopt if there is no change.
  static std::optional<std::int64_t> changeIn(OQRecordStore& store) {
    const auto changes = store.access().changesOfOthers();
    return changes ? std::optional(changes->at(0)->usedCount()) : std::nullopt;
  }
  /// The descriptors with which this process has the lock file open.
  std::vector<int> lockDescriptors() const {
    std::vector<int> found;
    std::error_code error;
    for (const auto& each : std::filesystem::directory_iterator("/proc/self/fd")) {
      if (std::filesystem::read_symlink(each, error) == std::filesystem::canonical(lockFile))
        found.push_back(std::stoi(each.path().filename()));
    }
    return found;
  }

  test::TemporaryFolder folder;
  std::filesystem::path file = documentsDirectory() / OQRecordTreeDataFileName;
  std::filesystem::path lockFile = documentsDirectory() / OQRecordTreeLockFileName;
  OQRecordStore ours, theirs;
};

TEST_F(RecordStore, ReportsTheLatestWriteOfAnotherProcessOnce) {
  EXPECT_TRUE(ours.read().empty());
  EXPECT_EQ(changeIn(ours), std::nullopt) << "no file yet";
  for (int value = 1; value < 60; value += 3) {
    write(ours, value);
    ASSERT_EQ(changeIn(ours), std::nullopt) << "our own write";
    write(theirs, value + 1);
    write(theirs, value + 2);
    ASSERT_EQ(changeIn(ours), value + 2);
    ASSERT_EQ(changeIn(ours), std::nullopt) << "already known";
  }
  test::writeText(file, "torn");
  EXPECT_EQ(changeIn(ours), std::nullopt);
  std::filesystem::remove(file);
  EXPECT_EQ(changeIn(ours), std::nullopt);
  write(theirs, 5);
  EXPECT_EQ(changeIn(ours), 5);
  EXPECT_EQ(OQRecordStore().read().at(0)->usedCount(), 5);
}

TEST_F(RecordStore, GrantsExclusiveAccess) {
  auto access = ours.access();
  ASSERT_TRUE(access);
  EXPECT_FALSE(theirs.access());
  // Another thread of the same process waits without limit.
  std::atomic<bool> isReleased{false};
  auto waited = std::async(std::launch::async, [&] { return ours.access() && isReleased; });
  EXPECT_FALSE(OQRecordStore().access()) << "after 250 ms";
  EXPECT_FALSE(OQRecordStore().access()) << "after 250 ms";
  isReleased = true;
  EXPECT_TRUE(access.write(nodes(1)));
  EXPECT_TRUE(waited.get());
  EXPECT_TRUE(theirs.access());
  EXPECT_TRUE(ours.access());
}

/// The lock file stays open between uses. A forked process inherits the descriptor, on which both would share one lock.
TEST_F(RecordStore, ForkedProcessHasItsOwnLock) {
  write(ours, 1);
  const pid_t child = ::fork();
  if (child == 0) {
    ::setpgid(0, 0);
    auto access = ours.access();
    if (!access) ::_exit(1);
    // The grandchild outlives the child, and must not keep the child's lock.
    if (::fork() > 0) ::raise(SIGSTOP);
    for (;;) ::pause();
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, WUNTRACED), child);
  ASSERT_TRUE(WIFSTOPPED(status));
  EXPECT_FALSE(ours.access()) << "the child has the lock";
  ::kill(child, SIGKILL);
  test::statusOf(child);
  EXPECT_TRUE(ours.access()) << "the child was killed";
  ::kill(-child, SIGKILL);
}

/// The lock file is replaced while one store has the lock, another one waits for it, and a third one has the file open.
TEST_F(RecordStore, ReplacedLockFileIsOpenedAgain) {
  write(theirs, 1);
  auto access = ours.access();
  OQRecordStore waiting;
  auto waited = std::async(std::launch::async, [&] { return static_cast<bool>(waiting.access()); });
  while (lockDescriptors().size() < 3) std::this_thread::yield();
  FileDescriptor other(::open((folder.path() / "other").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  ASSERT_EQ(::flock(other.get(), LOCK_EX), 0);
  std::filesystem::rename(folder.path() / "other", lockFile);
  access.release();
  EXPECT_FALSE(waited.get());
  EXPECT_FALSE(theirs.access());
  other.close();
  EXPECT_TRUE(theirs.access());
}

/// A program that becomes a daemon closes all descriptors, also that of the lock file. The host may then get
/// the same number for another file.
TEST_F(RecordStore, DescriptorThatTheHostReusedIsNotTouched) {
  write(ours, 1);
  const int descriptor = lockDescriptors().at(0);
  FileDescriptor other(::open((folder.path() / "host's").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  FileDescriptor reused(::dup2(other.get(), descriptor));
  const auto access = ours.access();
  EXPECT_TRUE(access);
  EXPECT_FALSE(theirs.access());
  EXPECT_TRUE(reused.close());
}

/// The inode number of a replaced file may be reused by a later file.
TEST_F(RecordStore, FilesOfSameSizeAndTimeAreDistinguished) {
  const auto time = std::filesystem::file_time_type::clock::now();
  FileVersion version;
  for (int i = 0; i < 20; ++i) {
    test::writeText(folder.path() / "new", "same size");
    std::filesystem::last_write_time(folder.path() / "new", time);
    std::filesystem::rename(folder.path() / "new", file);
    if (i == 0) {
      ASSERT_TRUE(contentsOfFile(file, kUsualFileLimit, &version));
    }
    ASSERT_EQ(version.isStillAt(file), i == 0);
  }
}

}  // namespace
}  // namespace oq
