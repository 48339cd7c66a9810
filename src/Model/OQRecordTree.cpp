// SPDX-License-Identifier: Apache-2.0
#include "Model/OQRecordTree.h"

#include <algorithm>
#include <utility>

#include "Foundation/Values/Number.h"
#include "Model/OQWindowData.h"

namespace oq {

namespace {

std::atomic<std::uint64_t> renumberingCount{0};

/// By how much `number` is greater than `other`; 0 if it is not greater. Exact for all pairs, because a file may
/// contain any numbers.
std::uint64_t excess(std::int64_t number, std::int64_t other) {
  return number > other ? static_cast<std::uint64_t>(number) - static_cast<std::uint64_t>(other) : 0;
}

}  // namespace

Class* OQRecordTreeNode::staticClass() {
  static Class* registered = registerClass("OQRecordTreeNode", Object::staticClass());
  return registered;
}

std::shared_ptr<OQRecordTreeNode> OQRecordTreeNode::recordFor(const OQWindowData& window) {
  auto node = std::make_shared<OQRecordTreeNode>();
  node->setNodeId(integerValue(window.windowId()));
  node->setCount(window.count());
  node->setStartTime(window.startTime());
  node->setEndTime(window.endTime());
  return node;
}

// setNodeId() and nodeIdForIndex() may run at the same time. Each of them writes its own member before it reads the
// member that the other one writes. So either the index sees the new id, or setNodeId() sees that the node is indexed.

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

OQRecordNodes::Node OQRecordNodes::firstWithId(std::int64_t nodeId) const {
  const std::uint64_t renumberings = OQRecordTreeNode::renumberings();
  if (renumberings != _renumberings) {
    _firstPosition.clear();
    _indexedCount = 0;
  }
  _renumberings = renumberings;
  for (; _indexedCount < _nodes.size(); ++_indexedCount) {
    OQRecordTreeNode* node = _nodes[_indexedCount].get();
    if (node) _firstPosition.emplace(node->nodeIdForIndex(), _indexedCount);
  }
  const auto found = _firstPosition.find(nodeId);
  return found == _firstPosition.end() ? nullptr : _nodes[found->second];
}

Class* OQRecordTree::staticClass() {
  static Class* registered = registerClass("OQRecordTree", Object::staticClass());
  return registered;
}

OQRecordTree& OQRecordTree::defaultTree() {
  static OQRecordTree& tree = *new OQRecordTree();
  return tree;
}

std::shared_ptr<OQRecordTree> OQRecordTree::treeWithNodes(std::shared_ptr<Nodes> nodes) {
  auto tree = std::make_shared<OQRecordTree>();
  if (nodes) tree->_nodes = std::move(nodes);
  return tree;
}

OQRecordTree::OQRecordTree() : _nodes(std::make_shared<Nodes>()) {}

std::shared_ptr<OQRecordTree::Nodes> OQRecordTree::allNodes() const {
  std::lock_guard lock(_lock);
  return _nodes;
}

OQRecordTree::Nodes::Vector OQRecordTree::copyOfNodes() const {
  std::lock_guard lock(_lock);
  return _nodes->all();
}

bool OQRecordTree::addTreeNode(const std::shared_ptr<OQRecordTreeNode>& node) {
  if (!node) return true;
  std::lock_guard lock(_lock);
  if (const auto known = _nodes->firstWithId(node->nodeId())) {
    refresh(*known, *node);
  } else {
    _nodes->push_back(node);
  }
  return true;
}

bool OQRecordTree::removeTreeNode(const std::shared_ptr<OQRecordTreeNode>& node) {
  if (!node) return true;
  std::lock_guard lock(_lock);
  _nodes->change(
      [&](auto& nodes) { std::erase_if(nodes, [&](const auto& known) { return node->isEqual(known.get()); }); });
  return true;
}

bool OQRecordTree::removeAllTreeNodes() {
  auto nodes = std::make_shared<Nodes>();
  std::lock_guard lock(_lock);
  _nodes.swap(nodes);
  return true;
}

bool OQRecordTree::refreshTreeNode(OQRecordTreeNode& oldNode, const OQRecordTreeNode& newNode) {
  std::lock_guard lock(_lock);
  refresh(oldNode, newNode);
  return true;
}

void OQRecordTree::refresh(OQRecordTreeNode& oldNode, const OQRecordTreeNode& newNode) {
  if (newNode.count() >= 0) oldNode.setCount(newNode.count());
  // The records of a new list have the used count 0, which must not reset the local one.
  if (newNode.usedCount() > 0) oldNode.setUsedCount(newNode.usedCount());
  if (JSONValue start = newNode.startTime(); isNonEmptyString(start)) oldNode.setStartTime(start);
  if (JSONValue end = newNode.endTime(); isNonEmptyString(end)) oldNode.setEndTime(end);
  if (newNode.isUserClosed()) oldNode.setUserClosed(true);
}

std::shared_ptr<OQRecordTreeNode> OQRecordTree::findTreeNodeById(std::int64_t nodeId) const {
  std::lock_guard lock(_lock);
  return _nodes->firstWithId(nodeId);
}

void OQRecordTree::updateWithTree(const OQRecordTree& tree) {
  for (const auto& node : tree.copyOfNodes()) addTreeNode(node);
}

void OQRecordTree::adopt(const Nodes::Vector& stored) {
  std::lock_guard lock(_lock);
  for (const auto& node : stored) {
    if (const auto known = _nodes->firstWithId(node->nodeId())) {
      known->adopt(*node);
    } else {
      node->beginRun();
      _nodes->push_back(node);
    }
  }
}

}  // namespace oq
