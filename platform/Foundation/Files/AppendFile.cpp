// SPDX-License-Identifier: Apache-2.0
#include "Foundation/Files/AppendFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <utility>

#include "Foundation/Files/FileManager.h"

namespace oq {

std::unique_ptr<AppendFile> AppendFile::create(const std::filesystem::path& path) {
  if (!mayWriteFiles()) return nullptr;
  std::unique_ptr<AppendFile> made(new AppendFile(path));
  // Until the new file is locked, another process may regard it as abandoned and remove it. LockFile then creates it
  // again.
  auto lock = made->_lockFile.take(path, LockFile::Clock::now() + std::chrono::milliseconds(100));
  if (!lock) return nullptr;
  made->_lock = std::move(*lock);
  made->_file = FileDescriptor(::open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC | O_NOFOLLOW));
  if (made->_file) return made;
  made->remove();
  return nullptr;
}

bool AppendFile::append(std::string_view bytes) {
  WriteSignalGuard guard;
  ssize_t written;
  do {
    written = ::write(_file.get(), bytes.data(), bytes.size());
  } while (written < 0 && errno == EINTR);
  if (written == static_cast<ssize_t>(bytes.size())) {
    _size += bytes.size();
    return true;
  }
  // Removes incomplete bytes, so that the next write does not continue them.
  const bool isTakenBack = written <= 0 || ::ftruncate(_file.get(), static_cast<off_t>(_size)) == 0;
  if (!isTakenBack) _size += static_cast<std::size_t>(written);
  return false;
}

bool AppendFile::flush() const {
  const FileDescriptor folder(::open(_path.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return folder && ::fsync(_file.get()) == 0 && ::fsync(folder.get()) == 0;
}

bool AppendFile::isRemoved() const {
  struct stat status {};
  return ::fstat(_file.get(), &status) == 0 && status.st_nlink == 0;
}

void AppendFile::remove() {
  ::unlink(_path.c_str());
}

}  // namespace oq
