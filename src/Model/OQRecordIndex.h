#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include "Model/OQRecordTreeNode.h"

namespace oq {

/// Where each id stands first in an array of records, however long the array is. Follows the array by itself
/// as long as nodes are only appended, also when nodes get other ids; after anything else it is reset. One
/// thread at a time.
class OQRecordIndex {
 public:
  using Nodes = std::vector<std::shared_ptr<OQRecordTreeNode>>;

  /// The first node with the id, or nullptr. Always asked about the same array.
  std::shared_ptr<OQRecordTreeNode> find(const Nodes& nodes, std::int64_t nodeId);
  void reset();

 private:
  std::unordered_map<std::int64_t, std::size_t> _firstPosition;
  std::size_t _indexedCount = 0;
  std::uint64_t _renumberings = 0;
};

}  // namespace oq
