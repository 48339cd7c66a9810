#include "Model/OQRecordTreeNode.h"

#include <algorithm>

namespace oq {

namespace {

std::atomic<std::uint64_t> renumberingCount{0};

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
  _count = count;
}

void OQRecordTreeNode::setUsedCount(std::int64_t usedCount) {
  std::lock_guard lock(_mutex);
  _usedCount = std::min(usedCount, _count.load());
}

Value OQRecordTreeNode::startTime() const {
  std::lock_guard lock(_mutex);
  return _startTime;
}

void OQRecordTreeNode::setStartTime(const Value& time) {
  std::lock_guard lock(_mutex);
  _startTime = time;
}

Value OQRecordTreeNode::endTime() const {
  std::lock_guard lock(_mutex);
  return _endTime;
}

void OQRecordTreeNode::setEndTime(const Value& time) {
  std::lock_guard lock(_mutex);
  _endTime = time;
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
}

}  // namespace oq
