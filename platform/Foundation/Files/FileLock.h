#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <utility>

#include "Foundation/Files/FileDescriptor.h"

namespace oq {

/// An exclusive lock between processes, and between lock files of one process, while the object lives. It must not
/// outlive the LockFile that it comes from. Any thread.
class FileLock {
 public:
  /// No lock.
  FileLock() = default;
  FileLock(FileLock&& other) noexcept : _file(std::exchange(other._file, -1)) {}
  FileLock& operator=(FileLock&& other) noexcept {
    std::swap(_file, other._file);
    return *this;
  }
  ~FileLock();

 private:
  friend class LockFile;
  explicit FileLock(int file) : _file(file) {}

  int _file = -1;
};

/// A file that exists only to be locked: one that is replaced by renaming cannot be locked, since the new file is not
/// locked with it. It is kept open from one lock to the next, because opening and closing take longer than locking. A
/// forked process does not get the open file, so it neither shares a lock nor keeps one alive. One thread at a time.
class LockFile {
 public:
  using Clock = std::chrono::steady_clock;

  LockFile();
  ~LockFile();
  LockFile(const LockFile&) = delete;
  LockFile& operator=(const LockFile&) = delete;

  /// Locks the file that the path leads to, and makes it (0600) if it is missing. nullopt if another holder keeps the
  /// lock until the deadline, or no descriptor is free; the wait sleeps between tries. Where no lock is possible (the
  /// file cannot be opened for writing, or its file system has no locks) the result holds nothing, and the caller goes
  /// on alone.
  std::optional<FileLock> take(const std::filesystem::path& path, Clock::time_point deadline);

 private:
  class ForkHandler;

  bool open(const std::filesystem::path& path);
  void close();
  void forgetUnlessOurs();
  bool isAt(const std::filesystem::path& path) const;

  FileDescriptor _file;
  std::uint64_t _device = 0, _inode = 0;
};

}  // namespace oq
