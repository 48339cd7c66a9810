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

/// Where the application's files live: `Documents` and `Preferences` below one folder. By default the XDG
/// data folder
/// ($XDG_DATA_HOME, else ~/.local/share) joined with the application's identifier. Changing it later affects
/// what is opened from then on.
OQSDK_EXPORT void setApplicationDataDirectory(const std::filesystem::path& directory);
OQSDK_EXPORT std::filesystem::path applicationDataDirectory();
/// The user's documents folder of the application; made (0700) when it is missing.
std::filesystem::path documentsDirectory();
std::filesystem::path preferencesDirectory();
/// Grows whenever the folders may have changed, so that what is kept open can be told from what must be
/// opened anew.
std::uint64_t applicationDataGeneration();
/// Makes the folder and those above it that are missing, mode 0700 whatever the umask. True when it is there.
OQSDK_EXPORT bool createDirectory(const std::filesystem::path& directory);

inline constexpr std::size_t UsualFileLimit = 256u << 20;
/// The bytes of a regular file of at most `limit` bytes; nullopt when it cannot be read whole. `version`, where given,
/// becomes the file that was read, or no file.
std::optional<Data> contentsOfFile(const std::filesystem::path& file, std::size_t limit = UsualFileLimit,
                                   FileVersion* version = nullptr);

/// Writes a temporary file beside the target, flushes it to the disk and renames it over the target: a reader
/// sees the old contents or the new, never a mixture, also after a crash. Mode 0600. False, with the old file
/// untouched, when any step fails. Temporary files that killed processes left in the folder are removed; those
/// that a process is writing are not. `replaced`, where given, is called when others can read the new file. The file
/// survives a loss of power only after a further flush, which follows.
using FileReplaced = std::function<void(FileVersion written)>;
bool writeFileAtomically(const std::filesystem::path& file, const Data& contents,
                         const FileReplaced& replaced = nullptr);

/// Every entry below the folder, relative to it, in ascending order of names, sub-folders after the entry
/// that names them. Empty when the folder cannot be read.
std::vector<std::filesystem::path> enumerateDirectory(const std::filesystem::path& directory);

/// Removes an entry that enumerateDirectory() gave, a folder with all that is in it. Follows no link below the
/// folder, also when one is put there meanwhile; a link that is the entry goes itself. False when nothing went.
bool removeItem(const std::filesystem::path& directory, const std::filesystem::path& item);

/// Takes the exclusive lock of an open file, against other processes and other openings. False when somebody
/// holds it until the deadline, or where files cannot be locked.
bool lockFile(int file, std::chrono::steady_clock::time_point deadline);

/// While one lives on a thread, a write there past a file-size limit or into a closed pipe fails with an
/// error instead of ending the process. The host's handlers stay untouched.
class WriteSignalGuard {
 public:
  WriteSignalGuard();
  ~WriteSignalGuard();
  WriteSignalGuard(const WriteSignalGuard&) = delete;
  WriteSignalGuard& operator=(const WriteSignalGuard&) = delete;

 private:
  sigset_t _savedMask;
  sigset_t _ours;  ///< the signals that were not pending before
};

}  // namespace oq
