#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

#include "Foundation/PropertyLists/KeyedArchiver.h"
#include "Foundation/Values/JSONValue.h"
#include "oqsdk/Runtime.h"

namespace oq {

/// What is remembered of one window: how often it may be shown and was shown, when, whether it was shown in
/// this run and whether the user closed it.
///
/// Threads: any thread may read and write any property. A decision over several of them needs a lock of the
/// caller's.
class OQRecordTreeNode : public Object, public SecureCoding {
  OQ_CLASS(OQRecordTreeNode)

 public:
  static constexpr const char* ArchivedClassName = "OQRecordTreeNode";
  static bool supportsSecureCoding() { return true; }

  /// The window's trigger has fired, and it waits to be shown or was shown in this run.
  bool isActivated() const { return _activated; }
  void setActivated(bool activated) { _activated = activated; }
  bool isUserClosed() const { return _userClosed; }
  void setUserClosed(bool closed) { _userClosed = closed; }
  /// A window that the user has not closed may be shown again.
  void beginRun() {
    if (!isUserClosed()) setActivated(false);
  }
  /// Whether a display was counted since the process began; not part of the archive.
  bool wasCountedInThisRun() const { return _wasCountedInThisRun; }
  void noteCountedInThisRun() { _wasCountedInThisRun = true; }
  /// The window's id as a number.
  std::int64_t nodeId() const { return _nodeId; }
  void setNodeId(std::int64_t nodeId);
  /// How often the window may be shown. Lowering it leaves the used count as it is; meant.
  std::int64_t count() const { return _count; }
  void setCount(std::int64_t count);
  /// How often it was shown. Stores at most the count of that moment.
  std::int64_t usedCount() const { return _usedCount; }
  void setUsedCount(std::int64_t usedCount);
  /// The time range, as the server wrote it; null when there is none.
  JSONValue startTime() const;
  void setStartTime(const JSONValue& time);
  JSONValue endTime() const;
  void setEndTime(const JSONValue& time);

  // Several processes of one application write their records to one file.

  /// Takes over what another process stored of the window: its count and times unless they were changed here and not
  /// stored yet; how often it was shown, plus what was counted here and not stored yet; and that the user closed it,
  /// which is the one case in which its activation counts here too.
  void adopt(const OQRecordTreeNode& stored);
  /// What the node holds is in the file.
  void noteStored();

  /// Two nodes are equal when their ids are; nullptr equals nothing.
  bool isEqual(const OQRecordTreeNode* other) const;

  std::string archivedClassName() const override { return ArchivedClassName; }
  void encodeWithCoder(KeyedArchiver& coder) const override;
  void initWithCoder(const KeyedUnarchiver& coder);

  /// The id for an index, which learns from renumberings() when any node that it has asked got another one.
  std::int64_t nodeIdForIndex();
  static std::uint64_t renumberings();

 private:
  std::atomic<bool> _isIndexed{false};
  std::atomic<bool> _activated{false};
  std::atomic<bool> _userClosed{false};
  std::atomic<bool> _wasCountedInThisRun{false};
  std::atomic<std::int64_t> _nodeId{0};
  std::atomic<std::int64_t> _count{0};
  std::atomic<std::int64_t> _usedCount{0};
  /// Guards the times, and that the used count is held against one count.
  mutable std::mutex _mutex;
  JSONValue _startTime;
  JSONValue _endTime;
  /// What is known of the file: the used count in it, and whether the count or the times were changed since.
  std::atomic<std::int64_t> _storedUsedCount{0};
  std::atomic<bool> _hasUnstoredTerms{false};
};

}  // namespace oq
