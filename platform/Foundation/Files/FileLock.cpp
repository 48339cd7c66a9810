// SPDX-License-Identifier: Apache-2.0
#include "Foundation/Files/FileLock.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <mutex>
#include <thread>
#include <vector>

#include "Foundation/Files/FileManager.h"

namespace oq {

namespace {

constexpr auto kFirstPause = std::chrono::microseconds(100);
constexpr auto kLongestPause = std::chrono::microseconds(2000);
constexpr int kMostReplacements = 100;

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

/// Returns 0 if the file is locked now, otherwise the number of the error.
int tryToLock(int file) {
  while (::flock(file, LOCK_EX | LOCK_NB) != 0) {
    if (errno != EINTR) return errno;
  }
  return 0;
}

}  // namespace

FileLock::~FileLock() {
  if (_file >= 0) ::flock(_file, LOCK_UN);
}

/// Closes the copies of open lock files in a forked process. A copied descriptor holds the same lock, so the child
/// would share the lock of its parent, and keep it after the parent was killed.
class LockFile::ForkHandler {
 public:
  static ForkHandler& shared() {
    static auto* handler = new ForkHandler;  // never deleted: a thread may use it while the process ends
    return *handler;
  }

  void add(LockFile* file) {
    std::lock_guard lock(mutex);
    _files.push_back(file);
  }
  void remove(LockFile* file) {
    std::lock_guard lock(mutex);
    std::erase(_files, file);
  }

  std::mutex mutex;  ///< held while a lock file is opened or closed, and while the process forks

 private:
  ForkHandler() {
    ::pthread_atfork([] { shared().mutex.lock(); }, [] { shared().mutex.unlock(); }, [] { shared().inChild(); });
  }
  void inChild() {
    for (LockFile* file : _files) {
      file->forgetUnlessOurs();
      file->_file.close();
    }
    mutex.unlock();
  }
  std::vector<LockFile*> _files;
};

LockFile::LockFile() {
  ForkHandler::shared().add(this);
}

LockFile::~LockFile() {
  ForkHandler::shared().remove(this);
  forgetUnlessOurs();
}

std::optional<FileLock> LockFile::take(const std::filesystem::path& path, Clock::time_point deadline) {
  if (!mayWriteFiles()) return FileLock();
  auto pause = kFirstPause;
  int replaced = 0;
  forgetUnlessOurs();
  for (;;) {
    const bool isNew = !_file;
    if (isNew && !open(path)) return isOutOfResources(errno) ? std::nullopt : std::optional(FileLock());
    const int error = tryToLock(_file.get());
    FileLock lock(error ? -1 : _file.get());
    // The lock of a removed file protects nothing, because other processes lock the file that is at the path now. A
    // file that was opened just now is not compared with the path: some file systems report another inode number each
    // time a file is opened.
    if (isNew ? isRemoved(_file.get()) : !isAt(path)) {
      lock = FileLock();
      close();
      // Some file systems report every open file as removed, so the number of tries is limited.
      if (++replaced > kMostReplacements) return FileLock();
      continue;
    }
    if (error != EWOULDBLOCK) return lock;
    const auto now = Clock::now();
    if (now >= deadline) return std::nullopt;
    std::this_thread::sleep_until(std::min<Clock::time_point>(now + pause, deadline));
    pause = std::min(2 * pause, kLongestPause);
  }
}

bool LockFile::open(const std::filesystem::path& path) {
  std::lock_guard lock(ForkHandler::shared().mutex);
  FileDescriptor opened = openLockFile(path);
  // If the host has closed the standard streams, the file may get the number of such a stream. Then the host's output
  // would be written into the file, so another number is used.
  if (opened && opened.get() <= STDERR_FILENO)
    opened = FileDescriptor(::fcntl(opened.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  struct stat status {};
  if (!opened || ::fstat(opened.get(), &status) != 0) return false;
  _file = std::move(opened);
  _device = status.st_dev;
  _inode = status.st_ino;
  return true;
}

void LockFile::close() {
  std::lock_guard lock(ForkHandler::shared().mutex);
  _file.close();
}

/// Forgets the descriptor if it is no longer our file: a host that closes all descriptors may have reused the number
/// for a file of its own.
void LockFile::forgetUnlessOurs() {
  if (!_file) return;
  struct stat status {};
  const bool isOurs = ::fstat(_file.get(), &status) == 0 && status.st_dev == _device && status.st_ino == _inode;
  if (!isOurs) _file.release();
}

bool LockFile::isAt(const std::filesystem::path& path) const {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 && status.st_dev == _device && status.st_ino == _inode;
}

}  // namespace oq
