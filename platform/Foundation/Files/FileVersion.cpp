// SPDX-License-Identifier: Apache-2.0
#include "Foundation/Files/FileVersion.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <utility>

namespace oq {

FileVersion::FileVersion(FileDescriptor file, const struct stat& status)
    : _file(std::move(file)),
      _device(status.st_dev),
      _inode(status.st_ino),
      _size(status.st_size),
      _modified(status.st_mtim) {}

FileVersion FileVersion::at(const std::filesystem::path& path) {
  FileDescriptor file(::open(path.c_str(), O_PATH | O_CLOEXEC));
  struct stat status {};
  if (!file || ::fstat(file.get(), &status) != 0) return FileVersion();
  return FileVersion(std::move(file), status);
}

bool FileVersion::isStillAt(const std::filesystem::path& path) const {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return !_file && errno == ENOENT;
  return _file && status.st_dev == _device && status.st_ino == _inode && status.st_size == _size &&
         status.st_mtim.tv_sec == _modified.tv_sec && status.st_mtim.tv_nsec == _modified.tv_nsec;
}

}  // namespace oq
