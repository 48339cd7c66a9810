#pragma once

#include <cstdint>
#include <memory>
#include <mutex>

#include "Model/OQRecordNodes.h"
#include "Model/OQRecordTreeNode.h"
#include "oqsdk/Runtime.h"

namespace oq {

/// The records of all windows, in the order in which they came. A flat list, despite its name; each id stands
/// in it once as long as nobody else adds to the array.
///
/// Threads: any thread may call anything; nothing is called out to under the lock. The array of allNodes() is
/// alive: whoever walks it must keep other threads from adding, or walk copyOfNodes(). Ownership: nodes are
/// shared, so a change to a node that was found is a change in the tree. nullptr nodes are ignored.
class OQRecordTree : public Object {
  OQ_CLASS(OQRecordTree)

 public:
  using Nodes = OQRecordNodes;

  /// One tree for the whole process, made at the first call: a place to put together what is then merged
  /// elsewhere.
  static OQRecordTree& defaultTree();
  /// A tree over the given array itself: later additions go into it. nullptr stands for a new empty array.
  static std::shared_ptr<OQRecordTree> treeWithNodes(std::shared_ptr<Nodes> nodes);
  OQRecordTree();

  /// The array itself, until removeAllTreeNodes() puts a new one in its place.
  std::shared_ptr<Nodes> allNodes() const;
  /// The nodes of this moment, for a walk beside other threads.
  Nodes::Vector copyOfNodes() const;

  /// Refreshes the first equal node, or else appends the node. Always true.
  bool addTreeNode(const std::shared_ptr<OQRecordTreeNode>& node);
  /// Removes every node equal to this one. Always true.
  bool removeTreeNode(const std::shared_ptr<OQRecordTreeNode>& node);
  /// Begins a new empty array; the former one stays as it is. Always true.
  bool removeAllTreeNodes();
  /// Copies into the old node what the new one has to say. Always true.
  bool refreshTreeNode(OQRecordTreeNode& oldNode, const OQRecordTreeNode& newNode);
  /// The first node with the id, or nullptr. At once, however many nodes there are, as addTreeNode().
  std::shared_ptr<OQRecordTreeNode> findTreeNodeById(std::int64_t nodeId) const;
  /// Adds every node of the other tree, in order. Nodes that the other tree lacks stay.
  void updateWithTree(const OQRecordTree& tree);
  /// Takes over what another process of the application stored (OQRecordTreeNode::adopt). Unknown nodes are appended,
  /// not activated in this run unless the user closed them; known ones that are missing there stay.
  void adopt(const Nodes::Vector& stored);

 private:
  static void refresh(OQRecordTreeNode& oldNode, const OQRecordTreeNode& newNode);

  /// Guards the array and each refresh.
  mutable std::mutex _lock;
  std::shared_ptr<Nodes> _nodes;
};

}  // namespace oq
