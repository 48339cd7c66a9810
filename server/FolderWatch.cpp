#include "FolderWatch.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace oq::server {

namespace {

// A write in place counts when the writer closes, so that no half-written file is read. IN_CREATE is for
// links: they are complete when they appear.
constexpr unsigned events = IN_CLOSE_WRITE | IN_MOVED_TO | IN_CREATE;

std::filesystem::path folderOf(const std::filesystem::path& file) {
  return file.has_parent_path() ? file.parent_path() : ".";
}

bool isLink(const std::filesystem::path& file) {
  std::error_code error;
  return std::filesystem::is_symlink(file, error) || std::filesystem::hard_link_count(file, error) > 1;
}

}  // namespace

FolderWatch::FolderWatch(const std::filesystem::path& file)
    : _file(file), _descriptor(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
  if (_descriptor >= 0 && inotify_add_watch(_descriptor, folderOf(file).c_str(), events) >= 0) return;
  const int error = errno;
  if (_descriptor >= 0) close(_descriptor);
  throw std::system_error(error, std::generic_category(), "cannot watch " + folderOf(file).string());
}

FolderWatch::~FolderWatch() {
  close(_descriptor);
}

bool FolderWatch::takeChanges() {
  bool changed = false;
  alignas(inotify_event) char buffer[16 * 1024];
  for (;;) {
    const auto length = read(_descriptor, buffer, sizeof buffer);
    if (length <= 0) return changed;
    for (const char* at = buffer; at < buffer + length;) {
      const auto* event = reinterpret_cast<const inotify_event*>(static_cast<const void*>(at));
      const bool ours = event->len > 0 && _file.filename() == event->name;
      // A name of another file matters when the file is reached through a link that was swapped.
      const bool complete = !(event->mask & IN_CREATE) || isLink(_file);
      if ((event->mask & IN_Q_OVERFLOW) || ((ours || isLink(_file)) && complete)) changed = true;
      at += sizeof(inotify_event) + event->len;
    }
  }
}

}  // namespace oq::server
