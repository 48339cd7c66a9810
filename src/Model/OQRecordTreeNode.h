// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

#include "Foundation/PropertyLists/KeyedArchiver.h"
#include "Foundation/Values/JSONValue.h"
#include "oqsdk/Runtime.h"

namespace oq {

/// The record of one window: how often and when it may be shown, how often it was shown, whether it was shown in this
/// run, and whether the user closed it.
///
/// Threads: any thread may read and write any property. The caller needs its own lock for a decision that reads
/// several.
class OQRecordTreeNode : public Object, public SecureCoding {
  OQ_CLASS(OQRecordTreeNode)

 public:
  static constexpr const char* ArchivedClassName = "OQRecordTreeNode";
  static bool supportsSecureCoding() { return true; }

  /// The window's trigger has fired: it waits to be shown, or was shown in this run.
  bool isActivated() const { return _activated; }
  void setActivated(bool activated) { _activated = activated; }
  bool isUserClosed() const { return _userClosed; }
  void setUserClosed(bool closed) { _userClosed = closed; }
  /// A window that the user has not closed may be shown again.
  void beginRun() {
    if (!isUserClosed()) setActivated(false);
  }
  /// Whether a display was counted since the process started; not archived.
  bool wasCountedInThisRun() const { return _wasCountedInThisRun; }
  void noteCountedInThisRun() { _wasCountedInThisRun = true; }
  /// The window's id as a number.
  std::int64_t nodeId() const { return _nodeId; }
  void setNodeId(std::int64_t nodeId);
  /// How often the window may be shown. Lowering it does not change the used count; this is intentional.
  std::int64_t count() const { return _count; }
  void setCount(std::int64_t count);
  /// How often it was shown. At most count() at the time of the call is stored.
  std::int64_t usedCount() const { return _usedCount; }
  void setUsedCount(std::int64_t usedCount);
  /// The time range as the server sent it; null if there is none.
  JSONValue startTime() const;
  void setStartTime(const JSONValue& time);
  JSONValue endTime() const;
  void setEndTime(const JSONValue& time);

  // Several processes of one application store their records in one file.

  /// Takes over what another process stored for the window. The count and times are replaced, unless they have unstored
  /// local changes. The used count becomes the stored one plus the displays counted here and not stored yet. If the
  /// user closed the window, that is taken over, and only then its activation as well.
  void adopt(const OQRecordTreeNode& stored);
  /// Whether the last encoding of the node differs from what is known of the file.
  bool hasNewsForFile() const;
  /// The last encoding of the node is in the file. What was changed since then is still to be stored. For the thread
  /// that has access to the file and encoded the node for it.
  void noteStored();

  /// Nodes are equal if their ids are; nullptr equals nothing.
  bool isEqual(const OQRecordTreeNode* other) const;

  std::string archivedClassName() const override { return ArchivedClassName; }
  void encodeWithCoder(KeyedArchiver& coder) const override;
  void initWithCoder(const KeyedUnarchiver& coder);

  /// The id for use in an index. The index calls renumberings() to detect that a node it has indexed got another id.
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
  /// Guards the times, that the used count is held against one count, and that one state is encoded.
  mutable std::mutex _mutex;
  JSONValue _startTime;
  JSONValue _endTime;
  /// What is known of the file: the used count in it, and which version of the terms, that is of the count and times.
  std::atomic<std::int64_t> _storedUsedCount{0};
  std::atomic<std::uint32_t> _storedTerms{0};
  std::uint32_t _terms = 0;  ///< grows with every change of the terms
  /// What was encoded last.
  mutable std::atomic<std::int64_t> _encodedUsedCount{0};
  mutable std::atomic<std::uint32_t> _encodedTerms{0};
};

}  // namespace oq
