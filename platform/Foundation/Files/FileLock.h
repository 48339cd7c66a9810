// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <utility>

#include "Foundation/Files/FileDescriptor.h"

namespace oq {

/// An exclusive lock between processes, and between LockFiles of one process; released on destruction. Must not outlive
/// its LockFile. Any thread may release it.
class FileLock {
 public:
  /// Holds no lock.
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

/// A file that serves only as a lock. A data file cannot serve as one if it is replaced by renaming, because the new
/// file is not locked. The lock file stays open from one lock to the next, since opening and closing it take longer
/// than locking. A forked process closes its copy, so it neither shares nor keeps a lock of its parent. Not
/// thread-safe.
class LockFile {
 public:
  using Clock = std::chrono::steady_clock;

  LockFile();
  ~LockFile();
  LockFile(const LockFile&) = delete;
  LockFile& operator=(const LockFile&) = delete;

  /// Locks the file at the path, and creates it (0600) if it is missing. nullopt if another holder keeps the lock until
  /// the deadline, or if no descriptor is free; the wait sleeps between tries. If locking is impossible (files may not
  /// be written now, the file cannot be opened for writing, or its file system has no locks) the result holds nothing
  /// and the caller continues without a lock.
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
