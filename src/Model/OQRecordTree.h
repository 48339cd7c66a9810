// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>

#include "Model/OQRecordNodes.h"
#include "Model/OQRecordTreeNode.h"
#include "oqsdk/Runtime.h"

namespace oq {

/// The records of all windows, in order of arrival. Despite its name it is a flat list. Each id is in it once, unless
/// other code changes the array.
///
/// Threads: thread-safe; no callback runs under the lock. The array of allNodes() is live: to iterate over it, the
/// caller must prevent additions by other threads, or use copyOfNodes(). Ownership: nodes are shared, so changing a
/// found node changes the tree. nullptr nodes are ignored.
class OQRecordTree : public Object {
  OQ_CLASS(OQRecordTree)

 public:
  using Nodes = OQRecordNodes;

  /// The process-wide tree, created at the first call: it collects records that are then merged elsewhere.
  static OQRecordTree& defaultTree();
  /// A tree that uses the given array itself: later additions go into it. nullptr means a new empty array.
  static std::shared_ptr<OQRecordTree> treeWithNodes(std::shared_ptr<Nodes> nodes);
  OQRecordTree();

  /// The array itself, until removeAllTreeNodes() replaces it.
  std::shared_ptr<Nodes> allNodes() const;
  /// A copy of the current nodes, for iteration while other threads change the tree.
  Nodes::Vector copyOfNodes() const;

  /// Refreshes the first equal node, or else appends the node. Always true.
  bool addTreeNode(const std::shared_ptr<OQRecordTreeNode>& node);
  /// Removes every node equal to this one. Always true.
  bool removeTreeNode(const std::shared_ptr<OQRecordTreeNode>& node);
  /// Starts a new empty array; the former one is not changed. Always true.
  bool removeAllTreeNodes();
  /// Copies the set values of the new node into the old one. Always true.
  bool refreshTreeNode(OQRecordTreeNode& oldNode, const OQRecordTreeNode& newNode);
  /// The first node with the id, or nullptr. Uses an index, like addTreeNode().
  std::shared_ptr<OQRecordTreeNode> findTreeNodeById(std::int64_t nodeId) const;
  /// Adds every node of the other tree, in order. Nodes that the other tree lacks stay.
  void updateWithTree(const OQRecordTree& tree);
  /// Takes over the records that another process of the application stored (OQRecordTreeNode::adopt). Unknown nodes are
  /// appended and start this run as not activated, unless the user closed them. Known nodes that are missing in
  /// `stored` stay.
  void adopt(const Nodes::Vector& stored);

 private:
  static void refresh(OQRecordTreeNode& oldNode, const OQRecordTreeNode& newNode);

  /// Guards the array and each refresh.
  mutable std::mutex _lock;
  std::shared_ptr<Nodes> _nodes;
};

}  // namespace oq
