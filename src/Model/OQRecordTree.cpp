// SPDX-License-Identifier: Apache-2.0
#include "Model/OQRecordTree.h"

#include <utility>

#include "Foundation/Values/Number.h"

namespace oq {

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
  // The server always sends 0, which must not reset the local count.
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
