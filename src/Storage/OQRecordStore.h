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

/// An empty file in the same folder as OQRecordTreeDataFileName. A process keeps it locked while it has access to the
/// records.
inline constexpr const char* OQRecordTreeLockFileName = "OQRecordTreeData.lock";

/// A file in the same folder. A process of the application that forgets the user replaces it, so that the other
/// processes notice.
inline constexpr const char* OQForgettingFileName = "OQForgetting";

/// The file of records, shared by all processes of an application. To change records, a process takes access, adopts
/// what others have written, changes its own records, writes them, and releases the access. So each process sees every
/// display that was counted before.
///
/// Threads: any thread may request access; one at a time has it. Failure: if the lock file cannot be created or locked,
/// access is granted without a lock, and the process counts independently of others.
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

    /// Whether this object has access.
    explicit operator bool() const { return _store != nullptr; }
    /// The contents of the file if it has changed since this store last read or wrote it, else nullopt. Each change is
    /// returned once. Also nullopt if the file is missing or damaged; then the process only has its own records.
    std::optional<Nodes> changesOfOthers();
    /// Writes the nodes, and releases the access as soon as others can read them. Returns whether they are on the disk.
    /// If the file could not be replaced, hasNewsForFile() of the changed nodes stays true, so that a later write
    /// includes the changes.
    bool write(const Nodes& nodes);
    /// Whether another process has called noteForgetting() since the last check. The file of records has then changed,
    /// too, so this check is only necessary if changesOfOthers() has returned something.
    bool wasForgottenElsewhere();
    /// Lets the other processes know that all records were removed. The caller must then write() an empty array.
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

  /// Requests access, and waits for it if necessary: without a limit while another thread of this process has access;
  /// up to 250 ms while another process has access, also if another thread of this process already waits for that
  /// process. After this time the result is an object without access.
  ///
  /// If the file of records was not replaced during the 250 ms, the other process has probably been stopped. Later
  /// calls then wait only 20 ms, until the lock becomes free or the file is replaced: a main thread with many events
  /// must not wait 250 ms for each of them. For a process that does write, but slowly, each call waits up to 250 ms.
  Access access();

 private:
  using Clock = LockFile::Clock;

  /// Waits until no other thread of this process uses the store. While that thread waits for another process, this wait
  /// has a deadline, at which false is returned. The deadline also limits the calling thread's own wait for other
  /// processes, so that both waits together take at most 250 ms.
  bool takeTurn(std::optional<Clock::time_point>& deadline);
  void endTurn();
  std::optional<FileLock> wait(const std::filesystem::path& lockFile, const std::filesystem::path& archive,
                               Clock::time_point deadline);
  void setWaiting(bool isWaiting);

  std::mutex _mutex;
  std::condition_variable _changed;
  bool _isInUse = false;
  bool _isWaiting = false;  ///< the thread whose turn it is waits for another process

  // The members below are used only by the thread whose turn it is.
  LockFile _lockFile;
  /// The file of records during a wait that timed out, if the file was not replaced meanwhile; otherwise nullopt.
  std::optional<FileVersion> _blocked;
  FileVersion _known;  ///< the file of records as this process last read or wrote it
  FileVersion _forgetting;
};

}  // namespace oq
