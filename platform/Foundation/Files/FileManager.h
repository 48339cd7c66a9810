// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <signal.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Foundation/Values/Data.h"
#include "oqsdk/Export.h"

namespace oq {

class FileVersion;

/// The application's folder, which contains `Documents` and `Preferences`. By default, and after an empty path was set,
/// the XDG data folder ($XDG_DATA_HOME, else ~/.local/share) joined with the application's identifier. A change affects
/// only files that are opened later.
OQSDK_EXPORT void setApplicationDataDirectory(const std::filesystem::path& directory);
OQSDK_EXPORT std::filesystem::path applicationDataDirectory();
/// The application's folders for documents and preferences; created (0700) if missing.
std::filesystem::path documentsDirectory();
std::filesystem::path preferencesDirectory();
/// Sets the function that is asked before the platform layer creates, changes or removes a file or folder, on any
/// thread. While it returns false, the layer works as on a read-only file system: files can be read, and nothing is
/// touched. nullptr allows everything.
void setWritePermission(bool (*mayWrite)());
bool mayWriteFiles();
/// While such an object exists, mayWriteFiles() returns true on the thread that created it.
class UnconditionalWrites {
 public:
  UnconditionalWrites();
  ~UnconditionalWrites();
  UnconditionalWrites(const UnconditionalWrites&) = delete;
  UnconditionalWrites& operator=(const UnconditionalWrites&) = delete;
};
/// Increases whenever the path of the application's folder may have changed. Callers that keep a file open compare it
/// with the earlier number, to decide when to reopen.
std::uint64_t applicationDataGeneration();
/// Creates the folder and its missing parents with mode 0700, whatever the umask. True if the folder exists afterwards.
OQSDK_EXPORT bool createDirectory(const std::filesystem::path& directory);

inline constexpr std::size_t kUsualFileLimit = 256u << 20;
/// The bytes of a regular file of at most `limit` bytes; nullopt if it cannot be read completely. If `version` is
/// given, it is set to the version that was read, or to "no file" on failure.
std::optional<Data> contentsOfFile(const std::filesystem::path& file, std::size_t limit = kUsualFileLimit,
                                   FileVersion* version = nullptr);

/// Writes a temporary file in the target's folder, flushes it to the disk and renames it over the target: a reader sees
/// the old contents or the new ones, never a mixture, even after a crash. Mode 0600. If a step up to the rename fails,
/// the function returns false and the old file is unchanged. The function also removes temporary files that killed
/// processes left in the folder, but not those that a process is writing. `replaced`, if given, is called as soon as
/// others can read the new file. After that call a further flush makes the file survive a loss of power.
using FileReplaced = std::function<void(FileVersion written)>;
bool writeFileAtomically(const std::filesystem::path& file, const Data& contents,
                         const FileReplaced& replaced = nullptr);

/// The paths of all entries below the folder, relative to it, sorted by name; the contents of a sub-folder follow the
/// sub-folder. Empty if the folder cannot be read.
std::vector<std::filesystem::path> enumerateDirectory(const std::filesystem::path& directory);

/// Removes an entry that enumerateDirectory() returned; a folder is removed with its contents. Follows no link below
/// the folder, even if one is created meanwhile; an entry that is a link is itself removed. False if nothing was
/// removed.
bool removeItem(const std::filesystem::path& directory, const std::filesystem::path& item);

/// Locks an open file exclusively, against other processes and other open descriptions of the same file. Returns false
/// if another holder keeps the lock until the deadline, or if the file cannot be locked.
bool lockFile(int file, std::chrono::steady_clock::time_point deadline);

/// While a guard lives, a write on its thread beyond a file-size limit or into a closed pipe fails with an error
/// instead of ending the process. The host's signal handlers are unchanged.
class WriteSignalGuard {
 public:
  WriteSignalGuard();
  ~WriteSignalGuard();
  WriteSignalGuard(const WriteSignalGuard&) = delete;
  WriteSignalGuard& operator=(const WriteSignalGuard&) = delete;

 private:
  sigset_t _savedMask;
  sigset_t _ours;  ///< the signals that were not pending at the start; the destructor discards them
};

}  // namespace oq
