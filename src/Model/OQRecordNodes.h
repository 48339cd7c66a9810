// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Model/OQRecordTreeNode.h"

namespace oq {

/// A mutable array of records that finds the first one with an id through an index. It notices all changes to the
/// array, and changed ids of its records. Not thread-safe.
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
  /// For all other changes: `change` gets the vector and must not keep it.
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

}  // namespace oq
