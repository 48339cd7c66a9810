// SPDX-License-Identifier: Apache-2.0
#include "Model/OQRecordTreeNode.h"

#include <algorithm>

namespace oq {

namespace {

std::atomic<std::uint64_t> renumberingCount{0};

/// By how much the number is greater, or 0. Exact for all pairs, because a file may contain any numbers.
std::uint64_t excess(std::int64_t number, std::int64_t other) {
  return number > other ? static_cast<std::uint64_t>(number) - static_cast<std::uint64_t>(other) : 0;
}

}  // namespace

Class* OQRecordTreeNode::staticClass() {
  static Class* registered = registerClass("OQRecordTreeNode", Object::staticClass());
  return registered;
}

// Each side writes its own flag before it reads the other's: either the index sees the new id, or setNodeId() sees the
// index.

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
  if (_count.exchange(count) != count) ++_terms;
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
  if (_startTime != time) ++_terms;
  _startTime = time;
}

JSONValue OQRecordTreeNode::endTime() const {
  std::lock_guard lock(_mutex);
  return _endTime;
}

void OQRecordTreeNode::setEndTime(const JSONValue& time) {
  std::lock_guard lock(_mutex);
  if (_endTime != time) ++_terms;
  _endTime = time;
}

void OQRecordTreeNode::adopt(const OQRecordTreeNode& stored) {
  const std::int64_t storedUsedCount = stored.usedCount();
  {
    std::scoped_lock lock(_mutex, stored._mutex);
    if (_terms == _storedTerms) {
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

bool OQRecordTreeNode::hasNewsForFile() const {
  return _encodedUsedCount.load(std::memory_order_relaxed) != _storedUsedCount.load(std::memory_order_relaxed) ||
         _encodedTerms.load(std::memory_order_relaxed) != _storedTerms.load(std::memory_order_relaxed);
}

void OQRecordTreeNode::noteStored() {
  std::lock_guard lock(_mutex);
  _storedUsedCount = _encodedUsedCount.load();
  _storedTerms = _encodedTerms.load();
}

bool OQRecordTreeNode::isEqual(const OQRecordTreeNode* other) const {
  return other && (other == this || other->nodeId() == nodeId());
}

void OQRecordTreeNode::encodeWithCoder(KeyedArchiver& coder) const {
  coder.encodeInteger(nodeId(), "nodeId");
  {
    std::lock_guard lock(_mutex);
    coder.encodeInteger(_count, "count");
    coder.encodeInteger(_usedCount, "usedCount");
    coder.encodeObject(_startTime, "startTime");
    coder.encodeObject(_endTime, "endTime");
    _encodedUsedCount.store(_usedCount, std::memory_order_relaxed);
    _encodedTerms.store(_terms, std::memory_order_relaxed);
  }
  coder.encodeBool(isActivated(), "activated");
  coder.encodeBool(isUserClosed(), "userClosed");
}

void OQRecordTreeNode::initWithCoder(const KeyedUnarchiver& coder) {
  setNodeId(coder.decodeInteger("nodeId"));
  // The count first, because it limits the used count.
  setCount(coder.decodeInteger("count"));
  setUsedCount(coder.decodeInteger("usedCount"));
  setStartTime(coder.decodeValue("startTime"));
  setEndTime(coder.decodeValue("endTime"));
  setActivated(coder.decodeBool("activated"));
  setUserClosed(coder.decodeBool("userClosed"));
  _storedUsedCount.store(_usedCount, std::memory_order_relaxed);
  _storedTerms.store(_terms, std::memory_order_relaxed);
}

}  // namespace oq
