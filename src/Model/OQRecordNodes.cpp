// SPDX-License-Identifier: Apache-2.0
#include "Model/OQRecordNodes.h"

namespace oq {

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

}  // namespace oq
