#include "Foundation/FileHandle.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "Foundation/FileManager.h"

namespace oq {

std::unique_ptr<FileHandle> FileHandle::createForWriting(const std::filesystem::path& file) {
  // Not blocking, so that a pipe of that name is refused rather than waited for.
  constexpr int Flags = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
  FileDescriptor opened(::open(file.c_str(), Flags, 0600));
  struct stat status {};
  if (!opened || ::fstat(opened.get(), &status) != 0 || !S_ISREG(status.st_mode)) return nullptr;
  // The mask of the process may have taken bits away, and a file that was there has a mode of its own.
  ::fchmod(opened.get(), 0600);
  return std::unique_ptr<FileHandle>(new FileHandle(std::move(opened)));
}

bool FileHandle::writeData(std::string_view bytes) {
  WriteSignalGuard guard;
  while (!bytes.empty()) {
    ssize_t written = ::write(_descriptor.get(), bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

}  // namespace oq
