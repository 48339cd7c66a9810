// SPDX-License-Identifier: Apache-2.0
#include "Foundation/Files/FileManager.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Foundation/Files/FileDescriptor.h"
#include "Foundation/Files/FileHandle.h"
#include "Foundation/Files/FileLock.h"
#include "support/ScratchFolder.h"

using namespace oq;
using namespace oq::test;

namespace {

using Paths = std::vector<std::filesystem::path>;

volatile sig_atomic_t handled = 0;

}  // namespace

TEST(FileManager, WritesPrivateFilesWhateverTheUmask) {
  ScratchFolder folder;
  setApplicationDataDirectory(folder / "a/b");
  for (mode_t mask : {0u, 0777u}) {
    mode_t old = ::umask(mask);
    std::filesystem::remove_all(folder / "a");
    auto documents = documentsDirectory();
    bool written = writeFileAtomically(documents / "x", {1, 2, 3});
    ::umask(old);
    EXPECT_TRUE(written);
    EXPECT_EQ(modeOf(documents / "x"), 0600u);
    for (const auto& made : {folder / "a", folder / "a/b", documents}) EXPECT_EQ(modeOf(made), 0700u);
    EXPECT_EQ(contentsOfFile(documents / "x"), (Data{1, 2, 3}));
  }
}

TEST(FileManager, FailedWriteLeavesNoFile) {
  ScratchFolder folder;
  std::filesystem::create_directories(folder / "target/occupied");
  EXPECT_FALSE(writeFileAtomically(folder / "target", {1}));
  EXPECT_FALSE(writeFileAtomically(folder / "missing/file", {1}));
  EXPECT_TRUE(writeFileAtomically(folder / std::string(255, 'n'), {1}));
  EXPECT_FALSE(writeFileAtomically(folder / std::string(256, 'n'), {1}));
  EXPECT_EQ(enumerateDirectory(folder.path()).size(), 3u);
}

TEST(FileManager, RemovesOnlyFilesOfKilledWriters) {
  ScratchFolder folder;
  for (const char* name : {".oq-abcdef", ".oq-living", ".oq-longer-name", "oq-abcdef"}) writeText(folder / name, "x");
  std::filesystem::create_symlink("oq-abcdef", folder / ".oq-symbol");
  std::filesystem::create_directory(folder / ".oq-folder");
  FileDescriptor living(::open((folder / ".oq-living").c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_EQ(::flock(living.get(), LOCK_EX), 0);
  ASSERT_TRUE(writeFileAtomically(folder / "file", {1}));
  EXPECT_EQ(enumerateDirectory(folder.path()),
            (Paths{".oq-folder", ".oq-living", ".oq-longer-name", ".oq-symbol", "file", "oq-abcdef"}));
  living.close();
  ASSERT_TRUE(writeFileAtomically(folder / "file", {1}));
  EXPECT_FALSE(std::filesystem::exists(folder / ".oq-living"));
}

TEST(FileManager, EnumeratesInOrderAndRemovesWithoutFollowingLinks) {
  ScratchFolder folder, outside;
  outside.write("precious.log", "x");
  for (const char* name : {"c", "b/z", "b/inner.log/y", "b.txt"}) folder.write(name, "");
  for (const char* link : {"door", "b/inner.log/door", "link.log"})
    std::filesystem::create_directory_symlink(outside.path(), folder / link);
  EXPECT_EQ(enumerateDirectory(folder.path()),
            (Paths{"b", "b/inner.log", "b/inner.log/door", "b/inner.log/y", "b/z", "b.txt", "c", "door", "link.log"}));
  EXPECT_TRUE(enumerateDirectory(folder / "none").empty());
  EXPECT_FALSE(removeItem(folder.path(), "door/precious.log"));
  EXPECT_FALSE(removeItem(folder / "b", "../door"));
  EXPECT_FALSE(removeItem(folder.path(), "b/none.log"));
  EXPECT_TRUE(removeItem(folder.path(), "b/inner.log"));
  EXPECT_TRUE(removeItem(folder.path(), "link.log"));
  EXPECT_EQ(textOfFile(outside / "precious.log"), "x");
  EXPECT_EQ(enumerateDirectory(folder.path()), (Paths{"b", "b/z", "b.txt", "c", "door"}));
}

TEST(FileManager, WriteSignalGuardDiscardsOnlySignalsRaisedWhileItExists) {
  EXPECT_TRUE(holdsInChild([] {
    ::signal(SIGPIPE, [](int) { handled = handled + 1; });
    int ends[2];
    if (::pipe(ends) != 0) return false;
    ::close(ends[0]);
    {
      WriteSignalGuard outer;
      WriteSignalGuard inner;
      if (::write(ends[1], "x", 1) != -1 || errno != EPIPE) return false;
    }
    if (handled != 0) return false;

    // A signal that was pending before the guard was created belongs to the host. It arrives when the host unblocks it.
    sigset_t pipe;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
    ::raise(SIGPIPE);
    { WriteSignalGuard guard; }
    pthread_sigmask(SIG_UNBLOCK, &pipe, nullptr);
    return handled == 1 && ::write(ends[1], "x", 1) == -1 && handled == 2;
  }));
}

TEST(FileManager, ReadsRegularFilesUpToLimit) {
  ScratchFolder folder;
  writeText(folder / "ten", "0123456789");
  EXPECT_EQ(contentsOfFile(folder / "ten", 10)->size(), 10u);
  EXPECT_FALSE(contentsOfFile(folder / "ten", 9));
  EXPECT_FALSE(contentsOfFile(folder / "none"));
  EXPECT_FALSE(contentsOfFile(folder.path()));
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  EXPECT_FALSE(contentsOfFile(folder / "pipe"));
  // For files in /proc the kernel reports size 0, although they have contents.
  EXPECT_GT(contentsOfFile("/proc/self/status")->size(), 100u);
}

TEST(FileHandle, KeepsCompleteLinesInAPrivateRegularFile) {
  ScratchFolder folder;
  const auto log = folder.write("log", "old");
  std::filesystem::permissions(log, std::filesystem::perms::all);
  EXPECT_TRUE(holdsInChild([&] {
    const auto handle = FileHandle::createForWriting(log);
    limitFileSize(10);
    const bool isTorn = handle && handle->writeData("1234\n") && !handle->writeData("a\nlong line\n");
    limitFileSize(RLIM_INFINITY);
    return isTorn && handle->writeData("z\n");
  }));
  EXPECT_EQ(textOfFile(log), "1234\na\nz\n");
  EXPECT_EQ(modeOf(log), 0600u);
  std::filesystem::create_symlink(log, folder / "link");
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  for (const char* name : {"link", "pipe", "none/log"})
    EXPECT_FALSE(FileHandle::createForWriting(folder / name)) << name;
}

TEST(FileLock, HasOneHolderUntilItIsDestroyed) {
  ScratchFolder folder;
  const mode_t mask = ::umask(0777);
  LockFile ours, theirs;
  auto lock = ours.take(folder / "lock", {});
  ::umask(mask);
  ASSERT_TRUE(lock);
  EXPECT_EQ(modeOf(folder / "lock"), 0600u);
  EXPECT_FALSE(theirs.take(folder / "lock", {}));
  lock.reset();
  EXPECT_TRUE(theirs.take(folder / "lock", {}));
  // If no lock file can be created, take() returns a value that holds no lock, so that the caller can continue.
  LockFile nowhere, alsoNowhere;
  auto none = nowhere.take(folder / "none/lock", {});
  EXPECT_TRUE(none);
  EXPECT_TRUE(alsoNowhere.take(folder / "none/lock", {}));
}
