// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Foundation/PropertyLists/KeyedArchiver.h"
#include "Foundation/Values/JSONValue.h"
#include "oqsdk/Runtime.h"

namespace oq {

class OQWindowData;

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

  /// Creates the first record of a window, which was never shown before.
  static std::shared_ptr<OQRecordTreeNode> recordFor(const OQWindowData& window);

  /// Whether a display of the window was counted in this run. If the user has closed the window, the value of earlier
  /// runs is kept.
  bool isActivated() const { return _activated; }
  void setActivated(bool activated) { _activated = activated; }
  bool isUserClosed() const { return _userClosed; }
  void setUserClosed(bool closed) { _userClosed = closed; }
  /// Begins a new run of the application: the window may be shown again unless the user has closed it.
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
  /// How often the window was shown. setUsedCount() stores at most the value of count() at that moment.
  std::int64_t usedCount() const { return _usedCount; }
  void setUsedCount(std::int64_t usedCount);
  /// The time range as the server sent it; null if there is none.
  JSONValue startTime() const;
  void setStartTime(const JSONValue& time);
  JSONValue endTime() const;
  void setEndTime(const JSONValue& time);

  // Several processes of one application store their records in one file.

  /// Takes over what another process stored for the window. The count and times are replaced, unless they have unstored
  /// local changes. The used count becomes the stored one plus the displays that were counted here and are not stored
  /// yet, at most count(). isUserClosed() becomes true if it is true in `stored`; then isActivated() also becomes true
  /// if it is true there.
  void adopt(const OQRecordTreeNode& stored);
  /// Whether the node's last encoded state differs from its state in the file, as far as this process knows the file.
  bool hasNewsForFile() const;
  /// Notes that the node's last encoded state is now in the file. Later changes are not stored yet. Call it only on the
  /// thread that has access to the file and encoded the node for it.
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
  /// Guards the times. Also held while the used count is limited by the count, and while the node is encoded, so that
  /// both use one consistent state.
  mutable std::mutex _mutex;
  JSONValue _startTime;
  JSONValue _endTime;
  /// The state in the file as far as this process knows it: the used count, and the version of the terms. The terms are
  /// the count and the times.
  std::atomic<std::int64_t> _storedUsedCount{0};
  std::atomic<std::uint32_t> _storedTerms{0};
  std::uint32_t _terms = 0;  ///< grows with every change of the terms
  /// The state that was encoded last.
  mutable std::atomic<std::int64_t> _encodedUsedCount{0};
  mutable std::atomic<std::uint32_t> _encodedTerms{0};
};

/// A mutable array of records that finds the first record with an id through an index. The index follows all changes of
/// the array and of the ids of its records. Not thread-safe.
class OQRecordNodes {
 public:
  using Node = std::shared_ptr<OQRecordTreeNode>;
  using Vector = std::vector<Node>;

  OQRecordNodes() = default;
  explicit OQRecordNodes(Vector nodes) : _nodes(std::move(nodes)) {}

  const Vector& all() const { return _nodes; }
  std::size_t size() const { return _nodes.size(); }
  bool empty() const { return _nodes.empty(); }
  const Node& operator[](std::size_t position) const { return _nodes[position]; }
  auto begin() const { return _nodes.begin(); }
  auto end() const { return _nodes.end(); }

  void push_back(Node node) { _nodes.push_back(std::move(node)); }
  /// Makes any other change: `change` gets the vector and must not keep a reference to it.
  template <class Change>
  void change(const Change& change) {
    _firstPosition.clear();
    _indexedCount = 0;
    change(_nodes);
  }

  /// The first node with the id, or nullptr.
  Node firstWithId(std::int64_t nodeId) const;

 private:
  Vector _nodes;
  /// The first position of each id among the indexed nodes; appended nodes are indexed on demand.
  mutable std::unordered_map<std::int64_t, std::size_t> _firstPosition;
  mutable std::size_t _indexedCount = 0;
  mutable std::uint64_t _renumberings = 0;
};

/// The records of all windows, in order of arrival. Despite its name, the tree is a flat list. It contains each id
/// once, unless other code changes the array.
///
/// Threads: thread-safe; no callback runs under the lock. The array of allNodes() is live: to iterate over it, the
/// caller must prevent additions by other threads, or use copyOfNodes(). Ownership: nodes are shared, so changing a
/// found node changes the tree. nullptr nodes are ignored.
class OQRecordTree : public Object {
  OQ_CLASS(OQRecordTree)

 public:
  using Nodes = OQRecordNodes;

  /// A tree of the process, created at the first call. OQCampaignStore::install() collects the records of a new list in
  /// this tree before it merges them into its own tree.
  static OQRecordTree& defaultTree();
  /// A tree that uses the given array itself: later additions go into it. nullptr means a new empty array.
  static std::shared_ptr<OQRecordTree> treeWithNodes(std::shared_ptr<Nodes> nodes);
  OQRecordTree();

  /// The array itself, not a copy. removeAllTreeNodes() replaces the array of the tree.
  std::shared_ptr<Nodes> allNodes() const;
  /// A copy of the current nodes, for iteration while other threads change the tree.
  Nodes::Vector copyOfNodes() const;

  /// Refreshes the first node with the same id (see refreshTreeNode()). If there is none, appends the given node.
  /// Always returns true.
  bool addTreeNode(const std::shared_ptr<OQRecordTreeNode>& node);
  /// Removes every node with the same id. Always returns true.
  bool removeTreeNode(const std::shared_ptr<OQRecordTreeNode>& node);
  /// Starts a new empty array; the former array is not changed. Always returns true.
  bool removeAllTreeNodes();
  /// Copies values of the new node into the old one: the count if it is not negative, the used count if it is above 0,
  /// each time that is a non-empty string, and isUserClosed() if it is true. Always returns true.
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
