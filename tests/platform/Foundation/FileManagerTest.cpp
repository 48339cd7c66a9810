#include "Foundation/FileManager.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "TemporaryFolder.h"

using namespace oq;
using namespace oq::test;

namespace {

volatile sig_atomic_t handled = 0;

void limitFileSize(rlim_t bytes) {
  rlimit limit{bytes, bytes};
  ::setrlimit(RLIMIT_FSIZE, &limit);
}

}  // namespace

TEST(FileManager, WritesPrivateFilesWhateverTheUmask) {
  TemporaryFolder folder;
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

TEST(FileManager, LeavesNothingBehindWhenAWriteFails) {
  TemporaryFolder folder;
  std::filesystem::create_directories(folder / "target/occupied");
  EXPECT_FALSE(writeFileAtomically(folder / "target", {1}));
  EXPECT_FALSE(writeFileAtomically(folder / "missing/file", {1}));
  EXPECT_TRUE(writeFileAtomically(folder / std::string(255, 'n'), {1}));
  EXPECT_FALSE(writeFileAtomically(folder / std::string(256, 'n'), {1}));
  EXPECT_EQ(enumerateDirectory(folder.path()).size(), 3u);
}

TEST(FileManager, SurvivesAFileSizeLimit) {
  TemporaryFolder folder;
  ASSERT_TRUE(writeFileAtomically(folder / "kept", dataFromString("old")));
  EXPECT_TRUE(holdsInChild([&] {
    limitFileSize(1000);
    return !writeFileAtomically(folder / "kept", Data(5000)) &&
           writeFileAtomically(folder / "small", Data(1000));
  }));
  EXPECT_EQ(textOfFile(folder / "kept"), "old");
  EXPECT_EQ(enumerateDirectory(folder.path()).size(), 2u);
}

TEST(FileManager, GuardTakesBackItsOwnSignalsAndNoOthers) {
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

    // One that was pending before is the host's, and still arrives when the host lets it.
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

TEST(FileManager, ReadsRegularFilesUpToALimit) {
  TemporaryFolder folder;
  writeText(folder / "ten", "0123456789");
  EXPECT_EQ(contentsOfFile(folder / "ten", 10)->size(), 10u);
  EXPECT_FALSE(contentsOfFile(folder / "ten", 9));
  EXPECT_FALSE(contentsOfFile(folder / "none"));
  EXPECT_FALSE(contentsOfFile(folder.path()));
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  EXPECT_FALSE(contentsOfFile(folder / "pipe"));
  // The kernel's files say that they are empty.
  EXPECT_GT(contentsOfFile("/proc/self/status")->size(), 100u);
}

TEST(FileManager, EnumeratesInAscendingOrderWithoutFollowingLinks) {
  TemporaryFolder folder;
  std::filesystem::create_directories(folder / "b/inner");
  for (const char* name : {"c", "a", "b/z", "b/inner/y", "b.txt"}) writeText(folder / name, "");
  std::filesystem::create_directory_symlink(folder.path(), folder / "b/loop");
  std::vector<std::filesystem::path> expected{"a",      "b",   "b/inner", "b/inner/y",
                                              "b/loop", "b/z", "b.txt",   "c"};
  EXPECT_EQ(enumerateDirectory(folder.path()), expected);
  EXPECT_TRUE(enumerateDirectory(folder / "none").empty());
}
