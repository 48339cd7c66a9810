// SPDX-License-Identifier: Apache-2.0
#include "Foundation/Files/FileHandle.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "Foundation/Files/FileManager.h"

namespace oq {

std::unique_ptr<FileHandle> FileHandle::createForWriting(const std::filesystem::path& file) {
  return open(file, O_TRUNC);
}

std::unique_ptr<FileHandle> FileHandle::createNew(const std::filesystem::path& file) {
  return open(file, O_EXCL);
}

std::unique_ptr<FileHandle> FileHandle::open(const std::filesystem::path& file, int additionalFlags) {
  if (!mayWriteFiles()) return nullptr;
  // Non-blocking, so that opening a FIFO does not wait for a reader; the check below refuses a FIFO.
  constexpr int Flags = O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
  FileDescriptor opened(::open(file.c_str(), Flags | additionalFlags, 0600));
  struct stat status {};
  if (!opened || ::fstat(opened.get(), &status) != 0 || !S_ISREG(status.st_mode)) return nullptr;
  // The umask may have cleared bits, and an existing file keeps its old mode.
  ::fchmod(opened.get(), 0600);
  return std::unique_ptr<FileHandle>(new FileHandle(std::move(opened)));
}

bool FileHandle::writeData(std::string_view bytes) {
  WriteSignalGuard guard;
  std::size_t written = 0;
  while (written < bytes.size()) {
    ssize_t count = ::write(_descriptor.get(), bytes.data() + written, bytes.size() - written);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) {
      takeBackTornLine(bytes.substr(0, written));
      return false;
    }
    written += static_cast<std::size_t>(count);
  }
  return true;
}

void FileHandle::takeBackTornLine(std::string_view written) {
  // If `written` has no line feed, all of it is an incomplete line.
  std::size_t torn = written.size() - (written.rfind('\n') + 1);
  off_t end = ::lseek(_descriptor.get(), -static_cast<off_t>(torn), SEEK_CUR);
  // If the file cannot be truncated, the next write overwrites the incomplete line.
  [[maybe_unused]] bool isShorter = end >= 0 && ::ftruncate(_descriptor.get(), end) == 0;
}

}  // namespace oq
