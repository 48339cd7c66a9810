#include "Model/OQRecordTreeNode.h"

#include <algorithm>

namespace oq {

namespace {

std::atomic<std::uint64_t> renumberingCount{0};

/// By how much the number is greater; 0 when it is not. Exact for every pair, which the numbers of a file may be.
std::uint64_t excess(std::int64_t number, std::int64_t other) {
  return number > other ? static_cast<std::uint64_t>(number) - static_cast<std::uint64_t>(other) : 0;
}

}  // namespace

Class* OQRecordTreeNode::staticClass() {
  static Class* registered = registerClass("OQRecordTreeNode", Object::staticClass());
  return registered;
}

// Each side writes its own half before it reads the other's: either the index sees the new id, or this sees
// the index.

void OQRecordTreeNode::setNodeId(std::int64_t nodeId) {
  _nodeId = nodeId;
  if (_isIndexed) ++renumberingCount;
}

std::int64_t OQRecordTreeNode::nodeIdForIndex() {
  _isIndexed = true;
  return _nodeId;
}

std::uint64_t OQRecordTreeNode::renumberings() {
  return renumberingCount;
}

void OQRecordTreeNode::setCount(std::int64_t count) {
  std::lock_guard lock(_mutex);
  if (_count.exchange(count) != count) _hasUnstoredTerms = true;
}

void OQRecordTreeNode::setUsedCount(std::int64_t usedCount) {
  std::lock_guard lock(_mutex);
  _usedCount = std::min(usedCount, _count.load());
}

JSONValue OQRecordTreeNode::startTime() const {
  std::lock_guard lock(_mutex);
  return _startTime;
}

void OQRecordTreeNode::setStartTime(const JSONValue& time) {
  std::lock_guard lock(_mutex);
  if (_startTime != time) _hasUnstoredTerms = true;
  _startTime = time;
}

JSONValue OQRecordTreeNode::endTime() const {
  std::lock_guard lock(_mutex);
  return _endTime;
}

void OQRecordTreeNode::setEndTime(const JSONValue& time) {
  std::lock_guard lock(_mutex);
  if (_endTime != time) _hasUnstoredTerms = true;
  _endTime = time;
}

void OQRecordTreeNode::adopt(const OQRecordTreeNode& stored) {
  const std::int64_t storedUsedCount = stored.usedCount();
  {
    std::scoped_lock lock(_mutex, stored._mutex);
    if (!_hasUnstoredTerms) {
      _count = stored.count();
      if (_startTime != stored._startTime) _startTime = stored._startTime;
      if (_endTime != stored._endTime) _endTime = stored._endTime;
    }
    const std::uint64_t countedHere = excess(_usedCount, _storedUsedCount);
    const std::uint64_t room = excess(_count, storedUsedCount);
    const auto known = static_cast<std::uint64_t>(std::min(storedUsedCount, _count.load()));
    _usedCount = static_cast<std::int64_t>(known + std::min(countedHere, room));
    _storedUsedCount = storedUsedCount;
  }
  if (!stored.isUserClosed()) return;
  if (stored.isActivated()) _activated = true;
  _userClosed = true;
}

void OQRecordTreeNode::noteStored() {
  // After each write of all records, and few of them have changed. Who has access to the file looks at these later.
  const std::int64_t usedCount = _usedCount.load(std::memory_order_relaxed);
  if (_storedUsedCount.load(std::memory_order_relaxed) != usedCount)
    _storedUsedCount.store(usedCount, std::memory_order_relaxed);
  if (_hasUnstoredTerms.load(std::memory_order_relaxed)) _hasUnstoredTerms.store(false, std::memory_order_relaxed);
}

bool OQRecordTreeNode::isEqual(const OQRecordTreeNode* other) const {
  return other && (other == this || other->nodeId() == nodeId());
}

void OQRecordTreeNode::encodeWithCoder(KeyedArchiver& coder) const {
  coder.encodeInteger(nodeId(), "nodeId");
  coder.encodeInteger(count(), "count");
  coder.encodeInteger(usedCount(), "usedCount");
  coder.encodeObject(startTime(), "startTime");
  coder.encodeObject(endTime(), "endTime");
  coder.encodeBool(isActivated(), "activated");
  coder.encodeBool(isUserClosed(), "userClosed");
}

void OQRecordTreeNode::initWithCoder(const KeyedUnarchiver& coder) {
  setNodeId(coder.decodeInteger("nodeId"));
  // The count first: the used count is held against it.
  setCount(coder.decodeInteger("count"));
  setUsedCount(coder.decodeInteger("usedCount"));
  setStartTime(coder.decodeValue("startTime"));
  setEndTime(coder.decodeValue("endTime"));
  setActivated(coder.decodeBool("activated"));
  setUserClosed(coder.decodeBool("userClosed"));
  noteStored();
}

}  // namespace oq
