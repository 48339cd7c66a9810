#include "Foundation/FileHandle.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "Foundation/FileManager.h"

namespace oq {

std::unique_ptr<FileHandle> FileHandle::createForWriting(const std::filesystem::path& file) {
  int descriptor = ::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (descriptor < 0) return nullptr;
  // The mask of the process may have taken bits away, and a file that was there has a mode of its own.
  ::fchmod(descriptor, 0600);
  return std::unique_ptr<FileHandle>(new FileHandle(descriptor));
}

FileHandle::~FileHandle() {
  ::close(_descriptor);
}

bool FileHandle::writeData(std::string_view bytes) {
  WriteSignalGuard guard;
  while (!bytes.empty()) {
    ssize_t written = ::write(_descriptor, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

}  // namespace oq
