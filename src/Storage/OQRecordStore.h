// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <optional>

#include "Foundation/Files/FileLock.h"
#include "Foundation/Files/FileVersion.h"
#include "Model/OQRecordTree.h"

namespace oq {

/// An empty file in the same folder as OQRecordTreeDataFileName. Locked by the process that uses the records.
inline constexpr const char* OQRecordTreeLockFileName = "OQRecordTreeData.lock";

/// In the same folder. Replaced whenever a process of the application forgets the user.
inline constexpr const char* OQForgettingFileName = "OQForgetting";

/// The file of records, shared by all processes of an application. To change records, a process takes access, adopts
/// what others have written, changes its own records, writes them, and releases the access. So each process sees every
/// display that was counted before.
///
/// Threads: any thread may request access; one at a time has it. Failure: if no file can be created or locked, access
/// is granted without a lock, and the process counts independently of others.
class OQRecordStore {
 public:
  using Nodes = OQRecordNodes::Vector;

  /// Exclusive use of the records until it is released or destroyed. Must not outlive its store. Not thread-safe.
  class Access {
   public:
    /// An object without access.
    Access() = default;
    Access(Access&& other) noexcept;
    Access& operator=(Access&&) = delete;
    ~Access() { release(); }

    /// False if the records are busy.
    explicit operator bool() const { return _store != nullptr; }
    /// The contents of the file if it has changed since this store last read or wrote it, else nullopt. Each change is
    /// returned once. Also nullopt if the file is missing or damaged; then the process only has its own records.
    std::optional<Nodes> changesOfOthers();
    /// Writes the nodes, and releases the access as soon as others can read them. Returns whether they are on the disk.
    /// After a failure the nodes still know what must be added to the file.
    bool write(const Nodes& nodes);
    /// Whether another process has called noteForgetting(); true once for each time. The file of records has changed
    /// as well then, so a caller need only ask after changesOfOthers() has found something.
    bool wasForgottenElsewhere();
    /// Lets the other processes know that all records were removed. The caller then writes an empty array.
    void noteForgetting();
    void release();

   private:
    friend class OQRecordStore;
    Access(OQRecordStore& store, FileLock lock, std::filesystem::path file);

    OQRecordStore* _store = nullptr;
    FileLock _lock;
    std::filesystem::path _file;
  };

  /// The nodes in the file; empty if it is missing or damaged. Takes no lock. Call it only before the first access.
  Nodes read();

  /// Waits up to 250 ms for another process, or for a thread of this process that itself waits for another process. If
  /// that is not enough, the result is empty. If a thread of this process has access, the call waits for this thread
  /// without a limit. If the archive was not replaced during a wait that was too short, another process is probably
  /// stopped. The next waits then end after 20 ms, until the lock is free or the archive is replaced: a main thread
  /// with many events must not wait long for each of them. Processes that write slowly are waited for up to 250 ms each
  /// time.
  Access access();

 private:
  using Clock = LockFile::Clock;

  /// Returns false if the thread does not get its turn. Sets the deadline if the thread had to wait for a thread that
  /// waits for another process: this time counts as part of its own wait for other processes.
  bool takeTurn(std::optional<Clock::time_point>& deadline);
  void endTurn();
  std::optional<FileLock> wait(const std::filesystem::path& lockFile, const std::filesystem::path& archive,
                               Clock::time_point deadline);
  void setWaiting(bool isWaiting);

  std::mutex _mutex;
  std::condition_variable _changed;
  bool _isInUse = false;
  bool _isWaiting = false;  ///< the thread whose turn it is waits for another process

  // Used by the thread whose turn it is.
  LockFile _lockFile;
  std::optional<FileVersion> _blocked;  ///< the archive during a wait that was too short and saw no write
  FileVersion _known;
  FileVersion _forgetting;
};

}  // namespace oq
