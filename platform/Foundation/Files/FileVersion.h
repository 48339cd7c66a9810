#pragma once

#include <time.h>

#include <cstdint>
#include <filesystem>

#include "Foundation/Files/FileDescriptor.h"

struct stat;

namespace oq {

/// A file as it was when it was read or written: finds out without reading whether a path still leads to it. One
/// thread at a time.
class FileVersion {
 public:
  /// No file.
  FileVersion() = default;
  /// The file that the path leads to now, not opened for reading; no file if there is none.
  static FileVersion at(const std::filesystem::path& path);
  /// The open file, and what the system said of it.
  FileVersion(FileDescriptor file, const struct stat& status);

  /// True if the path leads to this file and it was not written since, or if there is no file in either case.
  bool isStillAt(const std::filesystem::path& path) const;

 private:
  /// Kept open, so that its inode number stays taken. A file that replaces another one twice may get the number of the
  /// first, with the same size and, as file systems keep time in steps of milliseconds, with the same time.
  FileDescriptor _file;
  std::uint64_t _device = 0, _inode = 0;
  std::int64_t _size = 0;
  timespec _modified{};
};

}  // namespace oq
