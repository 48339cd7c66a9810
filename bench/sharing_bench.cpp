// SPDX-License-Identifier: Apache-2.0

// The cost of sharing display counts with other processes of the application, with 500 records, in processor time:
// counting a display with the file lock and the check for other writers, compared with the same write without them; and
// adopting the records that another process wrote, compared with one read of the archive.
#include "Foundation/Files/FileManager.h"
#include "Measure.h"
#include "Model/OQRecordTree.h"
#include "Storage/OQDataArchiver.h"
#include "Storage/OQRecordStore.h"

namespace {

using namespace oq;
using namespace oq::bench;

constexpr int kRounds = 1001;
constexpr int kRecords = 500;

OQRecordTree::Nodes::Vector records() {
  OQRecordTree::Nodes::Vector made;
  for (int i = 0; i < kRecords; ++i) {
    auto record = std::make_shared<OQRecordTreeNode>();
    record->setNodeId(100'000 + i);
    record->setCount(1'000'000);
    record->setStartTime("2026-01-01 00:00:00");
    record->setEndTime(JSONValue("2026-12-31 23:59:" + std::to_string(10 + i % 50)));
    made.push_back(std::move(record));
  }
  return made;
}

void count(OQRecordTreeNode& node) {
  node.setUsedCount(node.usedCount() + 1);
}

void benchDecision(OQRecordStore& store, const OQRecordTree::Nodes::Vector& nodes) {
  auto [shared, alone] = inTurns(
      kRounds,
      [&] {
        return ownSecondsOf([&] {
          auto access = store.access();
          require(access && !access.changesOfOthers(), "another process has written");
          count(*nodes.front());
          require(access.write(nodes), "the records are not written");
        });
      },
      [&] {
        return ownSecondsOf([&] {
          count(*nodes.front());
          require(OQDataArchiver::setData(nodes, documentsDirectory() / "alone.plist"), "the plain write failed");
        });
      });
  std::vector<double> added;
  for (std::size_t i = 0; i < shared.size(); ++i) added.push_back(shared[i] - alone[i]);
  atMost("sharing_adds_to_decision_us", 1e6 * median(added), 10);
  note("sharing_decision", 1e6 * median(shared), "us of processor time");
  note("sharing_decision_alone", 1e6 * median(alone), "us of processor time");
}

void benchAdoption(OQRecordStore& ours, OQRecordStore& theirs, const OQRecordTree::Nodes::Vector& nodes) {
  const auto tree = OQRecordTree::treeWithNodes(std::make_shared<OQRecordTree::Nodes>(nodes));
  const auto others = records();
  const auto writtenByOther = [&] {
    count(*others.front());
    require(theirs.access().write(others), "the records are not written");
  };
  auto [adopt, read] = inTurns(
      kRounds,
      [&] {
        writtenByOther();
        const double seconds = ownSecondsOf([&] {
          auto access = ours.access();
          tree->adopt(access.changesOfOthers().value());
        });
        require(nodes.front()->usedCount() == others.front()->usedCount(), "nothing was adopted");
        return seconds;
      },
      [&] {
        writtenByOther();
        return ownSecondsOf([&] {
          keep(OQDataArchiver::getDataForPath<OQRecordTreeNode>(documentsDirectory() / OQRecordTreeDataFileName));
        });
      });
  atMost("sharing_adoption_vs_one_read", medianRatio(adopt, read), 1.3);
  note("sharing_adoption", 1e6 * median(adopt), "us of processor time");
}

}  // namespace

int main() {
  const ScratchFolder folder;
  setApplicationDataDirectory(folder.path());
  OQRecordStore ours, theirs;
  const auto nodes = records();
  require(ours.access().write(nodes), "the records are not written");
  benchDecision(ours, nodes);
  benchAdoption(ours, theirs, nodes);
}
