// SPDX-License-Identifier: Apache-2.0
#include "Foundation/Files/FileLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <thread>

namespace oq {

namespace {

constexpr auto kFirstPause = std::chrono::microseconds(100);
constexpr auto kLongestPause = std::chrono::microseconds(2000);

FileDescriptor openLockFile(const std::filesystem::path& path) {
  FileDescriptor file(::open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW));
  if (file || errno != ENOENT) return file;
  FileDescriptor made(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
  // The umask may have cleared bits that the next process needs.
  if (made) ::fchmod(made.get(), 0600);
  return made;
}

bool isOutOfResources(int reason) {
  return reason == EMFILE || reason == ENFILE || reason == ENOMEM;
}

bool isRemoved(int file) {
  struct stat status {};
  return ::fstat(file, &status) == 0 && status.st_nlink == 0;
}

}  // namespace

std::optional<FileLock> FileLock::take(const std::filesystem::path& path, Clock::time_point deadline) {
  for (;;) {
    FileLock lock(openLockFile(path));
    if (!lock._file && isOutOfResources(errno)) return std::nullopt;
    if (!lock._file) return lock;
    auto pause = kFirstPause;
    while (::flock(lock._file.get(), LOCK_EX | LOCK_NB) != 0) {
      if (errno == EINTR) continue;
      if (errno != EWOULDBLOCK) return FileLock();
      const auto now = Clock::now();
      if (now >= deadline) return std::nullopt;
      std::this_thread::sleep_until(std::min<Clock::time_point>(now + pause, deadline));
      pause = std::min(2 * pause, kLongestPause);
    }
    // A file that was removed during the wait is not the one that others lock.
    if (!isRemoved(lock._file.get())) return lock;
  }
}

FileLock::~FileLock() {
  // Closing is not enough: a process forked meanwhile shares the descriptor and would keep the lock.
  if (_file) ::flock(_file.get(), LOCK_UN);
}

}  // namespace oq
