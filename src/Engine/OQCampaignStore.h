// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "Foundation/Values/Snapshot.h"
#include "Matching/OQCampaignList.h"
#include "Model/OQRecordTree.h"
#include "Model/OQWindowData.h"
#include "Model/OQWindowEvent.h"
#include "Storage/OQRecordStore.h"

namespace oq {

/// Stores the campaigns: the two lists, the records of their displays, the events that wait for a list, and the three
/// files with the lists and records. The files are read when they are first needed.
///
/// Thread-safe. A list is an immutable snapshot that is replaced as a whole. A new in-app list and its merged records
/// become visible together.
///
/// Locks, in the order in which they are taken:
///   1. _restoreMutex, while the files of earlier runs are read. It is released before locks 2 to 4 are taken.
///   2. access to the records (OQRecordStore::Access), exclusive among the processes of the application. The
///      records to write are read while it is held, so that a later write never contains older counts.
///   3. _fileMutex, while the file of a list is written. The list to write is read while it is held.
///   4. _mutex, for each of these steps: a display is allowed and counted; a list is installed with its records and the
///      events that waited for it are taken; an event gets a list or begins to wait; a new generation begins.
///   5. the locks inside the lists, the tree and its records.
/// While one of these locks is held, the host is not called and nothing is written to the log.
///
/// Ownership: a shared_ptr must own the store; a write that waits for busy records keeps a weak_ptr. Failure: a missing
/// or damaged file counts as empty. If a file cannot be written, this is logged and the state in memory is kept.
class OQCampaignStore : public std::enable_shared_from_this<OQCampaignStore> {
 public:
  using Windows = OQCampaignList::Windows;
  using Events = std::vector<std::shared_ptr<OQWindowEvent>>;
  using Record = std::shared_ptr<OQRecordTreeNode>;
  /// A number that changes when the campaigns of a user are dropped. Code that reads the number before it reads a list
  /// or sends a request can find out later whether the list or the answer still belongs to the current user.
  using Generation = std::uint64_t;
  enum class Kind { InApp, Subscribe };

  /// Reads the files unless this was done already. Waits if another thread is reading them.
  void restore();

  std::shared_ptr<const OQCampaignList> list(Kind kind);
  void setList(Kind kind, Windows windows);
  /// Replaces the list with the windows of an answer, in memory and in its file; in-app windows also update their
  /// records. Returns the events that waited for the list. Does nothing if the generation has changed.
  Events install(Kind kind, Windows windows, Generation generation);
  /// Writes the list to its file.
  void syncList(Kind kind);

  /// Any thread; takes no lock.
  Generation generation() const { return _generation.load(std::memory_order_acquire); }
  enum class Records { Keep, Remove };
  /// Begins a new generation without campaigns and waiting events; Records::Remove also removes the records.
  /// `replaceUser` runs in the same step, under _mutex, so that a thread that reads the new generation also sees the
  /// new user. Call storeGeneration() afterwards.
  void beginGeneration(Records records, const std::function<void()>& replaceUser);
  /// Writes both lists as they are now. The in-app list then counts as not fetched today. Records::Remove also writes
  /// the records and notifies the other processes of the application, which remove their records when they next use
  /// them. If another process keeps the records busy, the call waits up to five seconds, and the rest is done in the
  /// background.
  void storeGeneration(Records records);
  /// Returns true once after another process of the application has forgotten the user.
  bool wasForgottenElsewhere() { return _isForgottenElsewhere && _isForgottenElsewhere.exchange(false); }

  /// Whether the in-app list was requested on the present calendar day, in this run or an earlier one.
  static bool wasFetchedToday();
  static void noteFetchedToday();

  struct Turn {
    /// The list to match the event against; nullptr if the event waits, or if one of the flags is set.
    std::shared_ptr<const OQCampaignList> list;
    bool isDropped = false;   ///< the event is dropped, because too many events wait
    bool isOutdated = false;  ///< the event is ignored, because it is of an earlier generation
  };
  /// Returns the list to match the event against, or stores the event until a list arrives.
  Turn listOrWait(Kind kind, const std::shared_ptr<OQWindowEvent>& event, Generation generation);
  Events waitingEvents(Kind kind) const;
  void setWaitingEvents(Kind kind, Events events);
  /// The largest number of events that wait for one list.
  std::int64_t maxWaitingEvents() const { return _maxWaitingEvents; }
  void setMaxWaitingEvents(std::int64_t most) { _maxWaitingEvents = most; }

  std::shared_ptr<OQRecordTree> recordTree();
  /// nullptr means an empty tree.
  void setRecordTree(std::shared_ptr<OQRecordTree> tree);
  /// The window's record, or nullptr. Use locked() to read and change several of its fields in one step.
  Record recordOf(const OQWindowData& window);
  /// Runs the work under _mutex. The work must not take a lock that comes earlier in the order above, and must not log.
  template <class Work>
  auto locked(const Work& work) const {
    std::lock_guard lock(_mutex);
    return work();
  }
  /// Counts one display. Call it only inside locked().
  static void count(OQRecordTreeNode& record);

  /// Counts one display and writes the records.
  void countDisplay(OQRecordTreeNode& record);
  void markClosed(const OQWindowData& window);
  /// Allows windows that the user has not closed to be shown again. Does nothing if isActivatedCleared(), which
  /// restore() sets.
  void clearActivated();
  bool isActivatedCleared();
  void setActivatedCleared(bool isCleared);
  /// Writes the records as they are in memory. This overwrites what other processes of the application have written
  /// since this process last read the file.
  void syncRecords();

  /// Takes access to the records, adopts the changes of other processes, and notifies them if this process has removed
  /// the records. The result is false if the records are busy.
  OQRecordStore::Access shareRecords();
  void writeRecords(OQRecordStore::Access access);

 private:
  struct Campaigns {
    Snapshot<OQCampaignList> list;
    Events waiting;
  };
  static std::shared_ptr<const OQCampaignList> makeList(Kind kind, Windows windows);
  Campaigns& of(Kind kind) { return _campaigns[static_cast<std::size_t>(kind)]; }
  const Campaigns& of(Kind kind) const { return _campaigns[static_cast<std::size_t>(kind)]; }
  OQRecordStore::Access patientAccess();
  /// Writes the records. If `access` is false because the records are busy, tries again in the background.
  void writeRecordsOrTryLater(OQRecordStore::Access access);

  std::mutex _restoreMutex;
  std::atomic<bool> _isRestored{false};
  std::array<Campaigns, 2> _campaigns;
  std::atomic<Generation> _generation{0};
  std::atomic<bool> _isForgottenElsewhere{false};
  std::atomic<bool> _isForgettingDue{false};  ///< the records were removed, but the other processes do not know it yet
  std::atomic<std::int64_t> _maxWaitingEvents{3};
  std::atomic<bool> _isActivatedCleared{false};
  std::mutex _fileMutex;
  OQRecordStore _records;
  std::atomic<bool> _isWriteDue{false};

  /// In a separate cache line, because each decision locks it, on any core, while other cores read the lists.
  alignas(64) mutable std::mutex _mutex;
  std::shared_ptr<OQRecordTree> _recordTree;
};

}  // namespace oq
