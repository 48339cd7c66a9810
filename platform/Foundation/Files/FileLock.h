#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <utility>

#include "Foundation/Files/FileDescriptor.h"

namespace oq {

/// An exclusive lock between processes, and between threads of one process, released with the object. It is taken on
/// a file that exists for nothing else: a file that is replaced by renaming cannot be locked, since the new one is not
/// locked with it. Any thread.
class FileLock {
 public:
  using Clock = std::chrono::steady_clock;

  /// Makes the file (0600) when it is missing. nullopt if another holder keeps the lock until the deadline, or no
  /// descriptor is free; the wait sleeps between tries. Where no lock is possible (the file cannot be opened for
  /// writing, or its file system has no locks) the result holds nothing, and the caller goes on alone.
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
