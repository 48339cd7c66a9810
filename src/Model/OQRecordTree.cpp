#include "Model/OQRecordTree.h"

#include <algorithm>
#include <utility>

#include "Foundation/Number.h"

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
  // Whoever gets the array may change it in any way.
  _index.reset();
  return _nodes;
}

OQRecordTree::Nodes OQRecordTree::copyOfNodes() const {
  std::lock_guard lock(_lock);
  return *_nodes;
}

bool OQRecordTree::addTreeNode(const std::shared_ptr<OQRecordTreeNode>& node) {
  if (!node) return true;
  std::lock_guard lock(_lock);
  if (auto known = firstWithId(node->nodeId())) {
    refresh(*known, *node);
  } else {
    _nodes->push_back(node);
  }
  return true;
}

bool OQRecordTree::removeTreeNode(const std::shared_ptr<OQRecordTreeNode>& node) {
  if (!node) return true;
  std::lock_guard lock(_lock);
  _index.reset();
  std::erase_if(*_nodes, [&](const auto& known) { return node->isEqual(known.get()); });
  return true;
}

bool OQRecordTree::removeAllTreeNodes() {
  auto nodes = std::make_shared<Nodes>();
  std::lock_guard lock(_lock);
  _index.reset();
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
  // What the server sends says 0, which must not take back what was counted here.
  if (newNode.usedCount() > 0) oldNode.setUsedCount(newNode.usedCount());
  if (Value start = newNode.startTime(); isNonEmptyString(start)) oldNode.setStartTime(start);
  if (Value end = newNode.endTime(); isNonEmptyString(end)) oldNode.setEndTime(end);
  if (newNode.isUserClosed()) oldNode.setUserClosed(true);
}

std::shared_ptr<OQRecordTreeNode> OQRecordTree::findTreeNodeById(std::int64_t nodeId) const {
  std::lock_guard lock(_lock);
  return firstWithId(nodeId);
}

/// Through the index while nobody else has the array; under the lock.
std::shared_ptr<OQRecordTreeNode> OQRecordTree::firstWithId(std::int64_t nodeId) const {
  if (_nodes.use_count() == 1) return _index.find(*_nodes, nodeId);
  for (const auto& node : *_nodes) {
    if (node && node->nodeId() == nodeId) return node;
  }
  return nullptr;
}

void OQRecordTree::updateWithTree(const OQRecordTree& tree) {
  for (const auto& node : tree.copyOfNodes()) addTreeNode(node);
}

}  // namespace oq
