#include "Foundation/Files/FileVersion.h"

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

bool FileVersion::isStillAt(const std::filesystem::path& path) const {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return !_file && errno == ENOENT;
  return _file && status.st_dev == _device && status.st_ino == _inode && status.st_size == _size &&
         status.st_mtim.tv_sec == _modified.tv_sec && status.st_mtim.tv_nsec == _modified.tv_nsec;
}

}  // namespace oq
