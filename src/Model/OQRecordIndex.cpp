#include "Model/OQRecordIndex.h"

namespace oq {

std::shared_ptr<OQRecordTreeNode> OQRecordIndex::find(const Nodes& nodes, std::int64_t nodeId) {
  std::uint64_t renumberings = OQRecordTreeNode::renumberings();
  if (renumberings != _renumberings) reset();
  _renumberings = renumberings;
  for (; _indexedCount < nodes.size(); ++_indexedCount) {
    OQRecordTreeNode* node = nodes[_indexedCount].get();
    if (node) _firstPosition.emplace(node->nodeIdForIndex(), _indexedCount);
  }
  auto found = _firstPosition.find(nodeId);
  return found == _firstPosition.end() ? nullptr : nodes[found->second];
}

void OQRecordIndex::reset() {
  _firstPosition.clear();
  _indexedCount = 0;
}

}  // namespace oq
