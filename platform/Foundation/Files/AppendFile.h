// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <string_view>

#include "Foundation/Files/FileDescriptor.h"
#include "Foundation/Files/FileLock.h"

namespace oq {

/// A new file that is written at its end and is locked (LockFile) as long as this object lives, so that other processes
/// can see whether its owner is alive. Not thread-safe.
class AppendFile {
 public:
  /// Creates the file (0600). nullptr if that fails.
  static std::unique_ptr<AppendFile> create(const std::filesystem::path& path);

  const std::filesystem::path& path() const { return _path; }
  std::size_t size() const { return _size; }
  /// False if the bytes could not be written completely; they are then removed again. Raises no signal. The bytes
  /// survive the death of the process, but not yet a loss of power.
  bool append(std::string_view bytes);
  /// Blocks until the contents and the name of the file are on the disk; false if that fails.
  bool flush() const;
  /// Whether the file was removed from its folder, for example by another process.
  bool isRemoved() const;
  void remove();

 private:
  explicit AppendFile(std::filesystem::path path) : _path(std::move(path)) {}

  const std::filesystem::path _path;
  // Members are destroyed in reverse order, so the lock is released before its LockFile is destroyed.
  LockFile _lockFile;
  FileLock _lock;
  FileDescriptor _file;
  std::size_t _size = 0;
};

}  // namespace oq
