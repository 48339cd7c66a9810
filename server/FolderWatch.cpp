// SPDX-License-Identifier: Apache-2.0
#include "FolderWatch.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <system_error>

namespace oq::server {

namespace {

// A file that is written in place is reported when the writer closes it, so that no half-written file is read.
// IN_CREATE counts only for links and folders, which are complete when they appear.
constexpr unsigned events = IN_CLOSE_WRITE | IN_MOVED_TO | IN_CREATE;
constexpr int mostLinks = 40;  // the kernel's limit

std::filesystem::path folderOf(const std::filesystem::path& file) {
  return file.has_parent_path() ? file.parent_path() : ".";
}

bool isLink(const std::filesystem::path& file) {
  std::error_code error;
  return std::filesystem::is_symlink(file, error) || std::filesystem::hard_link_count(file, error) > 1;
}

bool isComplete(const std::filesystem::path& file, unsigned event) {
  return !(event & IN_CREATE) || (event & IN_ISDIR) || isLink(file);
}

}  // namespace

FolderWatch::FolderWatch(const std::filesystem::path& file)
    : _file(file), _descriptor(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
  try {
    _follow();
  } catch (...) {
    if (_descriptor >= 0) close(_descriptor);
    throw;
  }
}

FolderWatch::~FolderWatch() {
  close(_descriptor);
}

// Watches exactly the folders on the path to the file. Each folder is watched before the link in it is read, so that no
// change of the link is missed.
void FolderWatch::_follow() {
  std::map<int, std::filesystem::path> folders;
  std::optional<std::system_error> problem;
  auto step = _file;
  for (int links = 0; links <= mostLinks; ++links) {
    const auto folder = folderOf(step);
    const int watch = inotify_add_watch(_descriptor, folder.c_str(), events);
    if (watch >= 0) {
      folders.emplace(watch, folder);
    } else if (!problem) {
      problem.emplace(errno, std::generic_category(), "cannot watch " + folder.string());
    }
    std::error_code isNoLink;
    const auto next = std::filesystem::read_symlink(step, isNoLink);
    if (isNoLink) break;
    step = folder / next;
  }
  for (const auto& [watch, folder] : _folders) {
    if (!folders.contains(watch)) inotify_rm_watch(_descriptor, watch);
  }
  _folders.swap(folders);
  if (problem) throw *problem;
}

bool FolderWatch::takeChanges() {
  if (!_takeEvents()) return false;
  try {
    _follow();
  } catch (const std::system_error&) {
    // A link may be broken for a moment. The other folders are still watched.
  }
  return true;
}

bool FolderWatch::_takeEvents() {
  bool changed = false;
  alignas(inotify_event) char buffer[16 * 1024];
  for (;;) {
    const auto length = read(_descriptor, buffer, sizeof buffer);
    if (length <= 0) return changed;
    for (const char* at = buffer; at < buffer + length;) {
      const auto* event = reinterpret_cast<const inotify_event*>(static_cast<const void*>(at));
      const auto folder = _folders.find(event->wd);
      if (folder != _folders.end() && event->len > 0) {
        // If the file is reached through a link, an event of another name matters too: the link's target may have
        // changed.
        const bool ours = _file.filename() == event->name || isLink(_file);
        if (ours && isComplete(folder->second / event->name, event->mask)) changed = true;
      }
      if (event->mask & IN_Q_OVERFLOW) changed = true;
      at += sizeof(inotify_event) + event->len;
    }
  }
}

}  // namespace oq::server
