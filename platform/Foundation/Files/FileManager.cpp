// SPDX-License-Identifier: Apache-2.0
#include "Foundation/Files/FileManager.h"

#include <dirent.h>
#include <fcntl.h>
#include <pwd.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <memory>
#include <mutex>
#include <thread>

#include "Foundation/Files/Bundle.h"
#include "Foundation/Files/FileDescriptor.h"
#include "Foundation/Files/FileVersion.h"

namespace oq {
namespace fs = std::filesystem;
namespace {

struct Location {
  std::mutex mutex;
  std::optional<fs::path> chosen;
  std::atomic<std::uint64_t> generation{1};
};

Location& location() {
  static auto* shared = new Location;  // never destroyed: threads may use it while the process ends
  return *shared;
}

std::atomic<bool (*)()> writePermission{nullptr};
thread_local int unconditionalWrites = 0;

fs::path homeDirectory() {
  if (const char* home = std::getenv("HOME"); home && *home == '/') return home;
  passwd entry{};
  passwd* found = nullptr;
  char buffer[4096];
  if (getpwuid_r(getuid(), &entry, buffer, sizeof buffer, &found) == 0 && found) return entry.pw_dir;
  return "/";
}

fs::path userDataDirectory() {
  // The XDG convention requires that relative paths are ignored.
  if (const char* folder = std::getenv("XDG_DATA_HOME"); folder && *folder == '/') return folder;
  return homeDirectory() / ".local" / "share";
}

/// The identifier as one path component.
std::string folderName(std::string identifier) {
  std::replace(identifier.begin(), identifier.end(), '/', '_');
  return identifier == "." || identifier == ".." ? "_" : identifier;
}

fs::path existing(fs::path directory) {
  createDirectory(directory);  // If this fails, opening files there fails and reports it.
  return directory;
}

constexpr std::string_view kTemporaryPrefix = ".oq-";
constexpr std::string_view kTemporaryPattern = ".oq-XXXXXX";

/// Creates a file in the folder and sets `name` to its path. The file is locked while it is open: the lock
/// distinguishes it from a file that a killed process left behind.
FileDescriptor makeTemporaryFile(const fs::path& folder, std::string& name) {
  for (;;) {
    // The name has a fixed length: a name made from that of the file to be replaced could be too long for the file
    // system.
    name = (folder / kTemporaryPattern).string();
    FileDescriptor file(::mkostemp(name.data(), O_CLOEXEC));
    struct stat status {};
    if (!file || ::flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
      // Either another process considers the file abandoned and is about to remove it, so try again; or this file
      // system has no locks.
      if (file && errno == EWOULDBLOCK) continue;
      return file;
    }
    // Another process regarded the file as abandoned and removed it before it was locked.
    if (::fstat(file.get(), &status) == 0 && status.st_nlink == 0) continue;
    return file;
  }
}

/// The names of a folder's entries, unordered; empty if it cannot be read. (The standard library's iterators end the
/// process when memory is short.)
std::vector<std::string> namesIn(const fs::path& folder) {
  std::vector<std::string> names;
  std::unique_ptr<DIR, int (*)(DIR*)> entries(::opendir(folder.c_str()), ::closedir);
  while (dirent* entry = entries ? ::readdir(entries.get()) : nullptr) {
    std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
  }
  return names;
}

/// Removes temporary files of processes that were killed while they wrote. Files that are being written are locked and
/// stay, as do other users' files, and all files where locks are not supported.
void removeAbandonedFiles(const fs::path& folder) {
  for (const std::string& name : namesIn(folder)) {
    if (name.size() != kTemporaryPattern.size() || !name.starts_with(kTemporaryPrefix)) continue;
    fs::path path = folder / name;
    FileDescriptor file(::open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    struct stat status {};
    bool isAbandoned = file && ::flock(file.get(), LOCK_EX | LOCK_NB) == 0 && ::fstat(file.get(), &status) == 0 &&
                       S_ISREG(status.st_mode) && status.st_nlink == 1;
    if (isAbandoned) ::unlink(path.c_str());
  }
}

bool writeAll(int file, const Data& contents) {
  std::size_t written = 0;
  while (written < contents.size()) {
    ssize_t count = ::write(file, contents.data() + written, contents.size() - written);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    written += static_cast<std::size_t>(count);
  }
  return true;
}

void flushDirectory(const fs::path& directory) {
  FileDescriptor folder(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  // Errors are ignored: the contents are on the disk already, and some file systems cannot flush a folder.
  if (folder) ::fsync(folder.get());
}

void enumerateInto(const fs::path& directory, const fs::path& prefix, std::vector<fs::path>& entries) {
  std::vector<std::string> names = namesIn(directory);
  std::sort(names.begin(), names.end());
  for (const std::string& name : names) {
    entries.push_back(prefix / name);
    // A link is listed but not followed, because it may point to a parent folder.
    std::error_code error;
    bool isFolder = fs::symlink_status(directory / name, error).type() == fs::file_type::directory;
    if (isFolder) enumerateInto(directory / name, prefix / name, entries);
  }
}

}  // namespace

void setWritePermission(bool (*mayWrite)()) {
  writePermission.store(mayWrite, std::memory_order_release);
}

bool mayWriteFiles() {
  if (unconditionalWrites > 0) return true;
  bool (*permission)() = writePermission.load(std::memory_order_acquire);
  return !permission || permission();
}

UnconditionalWrites::UnconditionalWrites() {
  ++unconditionalWrites;
}

UnconditionalWrites::~UnconditionalWrites() {
  --unconditionalWrites;
}

void setApplicationDataDirectory(const fs::path& directory) {
  std::lock_guard lock(location().mutex);
  if (directory.empty()) {
    location().chosen.reset();
  } else {
    location().chosen = directory;
  }
  ++location().generation;
}

fs::path applicationDataDirectory() {
  {
    std::lock_guard lock(location().mutex);
    if (location().chosen) return *location().chosen;
  }
  return userDataDirectory() / folderName(mainBundleIdentifier());
}

std::uint64_t applicationDataGeneration() {
  // A change of the main bundle counts, too, because the default folder is named after it.
  return location().generation.load(std::memory_order_acquire) + mainBundleGeneration();
}

fs::path documentsDirectory() {
  return existing(applicationDataDirectory() / "Documents");
}
fs::path preferencesDirectory() {
  return existing(applicationDataDirectory() / "Preferences");
}

bool createDirectory(const fs::path& directory) {
  std::error_code error;
  if (fs::is_directory(directory, error)) return true;
  if (!mayWriteFiles()) return false;
  fs::path parent = directory.parent_path();
  if (!parent.empty() && parent != directory && !createDirectory(parent)) return false;
  // Another process may be making the same folder.
  if (::mkdir(directory.c_str(), 0700) != 0) return fs::is_directory(directory, error);
  return ::chmod(directory.c_str(), 0700) == 0;
}

std::optional<Data> contentsOfFile(const fs::path& path, std::size_t limit, FileVersion* version) {
  if (version) *version = FileVersion();
  // Non-blocking, so that opening a FIFO does not wait for a writer; the check below refuses a FIFO.
  FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  auto size = static_cast<std::size_t>(status.st_size);
  if (size > limit) return std::nullopt;

  Data contents(size);
  std::size_t length = 0;
  while (true) {
    if (length == contents.size()) {
      if (length > limit) return std::nullopt;
      contents.resize(length + 4096);  // Space to detect the end of the file, or that it is growing.
    }
    ssize_t count = ::read(file.get(), contents.data() + length, contents.size() - length);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return std::nullopt;
    if (count == 0) break;
    length += static_cast<std::size_t>(count);
  }
  if (length < size || length > limit) return std::nullopt;
  contents.resize(length);
  // Uses the status from before the read, so that a change since then is noticed.
  if (version) *version = FileVersion(std::move(file), status);
  return contents;
}

bool writeFileAtomically(const fs::path& path, const Data& contents, const FileReplaced& replaced) {
  if (!mayWriteFiles()) return false;
  WriteSignalGuard guard;
  fs::path folder = path.has_parent_path() ? path.parent_path() : fs::path(".");
  removeAbandonedFiles(folder);
  std::string temporary;
  FileDescriptor file = makeTemporaryFile(folder, temporary);
  if (!file) return false;
  // makeTemporaryFile() has locked the file, so that removeAbandonedFiles() of another process does not remove it. The
  // lock ends when the descriptor is closed.
  bool complete = ::fchmod(file.get(), 0600) == 0 && writeAll(file.get(), contents) && ::fsync(file.get()) == 0 &&
                  ::rename(temporary.c_str(), path.c_str()) == 0;
  if (!complete) {
    ::unlink(temporary.c_str());
    return false;
  }
  struct stat status {};
  if (replaced && ::fstat(file.get(), &status) == 0) {
    replaced(FileVersion(std::move(file), status));
  }
  flushDirectory(folder);
  return true;
}

bool removeItem(const fs::path& directory, const fs::path& item) {
  if (!mayWriteFiles()) return false;
  FileDescriptor folder(::open(directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  for (const auto& component : item.parent_path()) {
    if (!folder || component == "..") return false;
    folder = FileDescriptor(::openat(folder.get(), component.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  }
  if (!folder) return false;
  std::error_code error;
  // Removes the item through the open descriptor: the folder's path may lead elsewhere by now.
  fs::path open = "/proc/self/fd/" + std::to_string(folder.get());
  return fs::remove_all(open / item.filename(), error) > 0 && !error;
}

bool lockFile(int file, std::chrono::steady_clock::time_point deadline) {
  while (::flock(file, LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) return false;
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

std::vector<fs::path> enumerateDirectory(const fs::path& directory) {
  std::vector<fs::path> entries;
  enumerateInto(directory, {}, entries);
  return entries;
}

WriteSignalGuard::WriteSignalGuard() {
  sigset_t pending;
  sigemptyset(&pending);
  sigpending(&pending);
  sigemptyset(&_ours);
  for (int signal : {SIGXFSZ, SIGPIPE}) {
    if (sigismember(&pending, signal) == 0) sigaddset(&_ours, signal);
  }
  pthread_sigmask(SIG_BLOCK, &_ours, &_savedMask);
}

WriteSignalGuard::~WriteSignalGuard() {
  int error = errno;
  timespec noTime{};
  // Discards the signals that our writes raised; otherwise restoring the mask would deliver them.
  while (sigtimedwait(&_ours, nullptr, &noTime) > 0 || errno == EINTR) {
  }
  pthread_sigmask(SIG_SETMASK, &_savedMask, nullptr);
  errno = error;
}

}  // namespace oq
