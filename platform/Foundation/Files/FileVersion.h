// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <time.h>

#include <cstdint>
#include <filesystem>

#include "Foundation/Files/FileDescriptor.h"

struct stat;

namespace oq {

/// Identifies a file as it was when it was read or written, and can check without reading whether a path still leads to
/// it. Not thread-safe.
class FileVersion {
 public:
  /// The state "no file".
  FileVersion() = default;
  /// The file that is at the path now. It is not opened for reading. A missing file is "no file".
  static FileVersion at(const std::filesystem::path& path);
  /// `status` is the result of fstat() for the open file.
  FileVersion(FileDescriptor file, const struct stat& status);

  /// True if the path leads to this file and the file has not been written since. For "no file", true if the path does
  /// not exist.
  bool isStillAt(const std::filesystem::path& path) const;

 private:
  /// Kept open, so that its inode number stays in use. Otherwise a file that is replaced twice could get the same inode
  /// number again, with the same size and (file systems keep time in steps of milliseconds) the same time.
  FileDescriptor _file;
  std::uint64_t _device = 0, _inode = 0;
  std::int64_t _size = 0;
  timespec _modified{};
};

}  // namespace oq
