// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <utility>

#include "Foundation/Files/FileDescriptor.h"

namespace oq {

/// An exclusive lock between processes and between threads of one process; released on destruction. The lock file must
/// serve no other purpose: a file that is replaced by renaming loses its lock, because the new file is not locked.
/// Thread-safe.
class FileLock {
 public:
  using Clock = std::chrono::steady_clock;

  /// Creates the file (0600) if it is missing. nullopt if another holder keeps the lock until the deadline, or if no
  /// descriptor is free; the wait sleeps between tries. If locking is impossible (the file cannot be opened for
  /// writing, or its file system has no locks) the result holds nothing and the caller continues without a lock.
  static std::optional<FileLock> take(const std::filesystem::path& file, Clock::time_point deadline);

  FileLock() = default;
  FileLock(FileLock&&) noexcept = default;
  FileLock& operator=(FileLock&&) noexcept = default;
  ~FileLock();

 private:
  explicit FileLock(FileDescriptor file) : _file(std::move(file)) {}

  FileDescriptor _file;
};

}  // namespace oq
