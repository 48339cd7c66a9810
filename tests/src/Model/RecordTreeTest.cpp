// SPDX-License-Identifier: Apache-2.0
#include "Model/OQRecordTree.h"

#include <gmock/gmock.h>

#include <limits>
#include <random>

#include "Storage/OQDataArchiver.h"
#include "src/TemporaryFolder.h"

namespace oq {
namespace {

using Node = std::shared_ptr<OQRecordTreeNode>;

Node node(std::int64_t id, std::int64_t count = 0, std::int64_t used = 0, const JSONValue& start = nullptr,
          const JSONValue& end = nullptr) {
  auto made = std::make_shared<OQRecordTreeNode>();
  made->setNodeId(id);
  made->setCount(count);
  made->setUsedCount(used);
  made->setStartTime(start);
  made->setEndTime(end);
  return made;
}

/// Returns the node after its count was lowered, which keeps its used count.
Node lowered(Node made, std::int64_t count) {
  made->setCount(count);
  return made;
}

std::vector<std::int64_t> ids(const OQRecordTree& tree) {
  std::vector<std::int64_t> found;
  for (const auto& known : *tree.allNodes()) found.push_back(known->nodeId());
  return found;
}

TEST(RecordTreeNode, LoweringTheCountDoesNotLowerTheUsedCount) {
  auto one = node(1, 5, 10);
  EXPECT_EQ(one->usedCount(), 5);
  one->setCount(2);
  EXPECT_EQ(one->usedCount(), 5);
  one->setUsedCount(-3);
  EXPECT_EQ(one->usedCount(), -3);
}

TEST(RecordTree, AddingANodeWithAKnownIdRefreshesTheKnownNode) {
  struct {
    Node known, added;
    std::int64_t count, used;
    JSONValue start, end;
    bool isClosed = false;
  } cases[] = {
      {node(1, 3, 2, "s", "e"), node(1, 5, 0, "", nullptr), 5, 2, "s", "e"},
      {node(1, 3, 2, "s", "e"), node(1, 0, 0, 17, "new"), 0, 2, "s", "new"},
      {node(1, 3, 2, "s", "e"), node(1, -1, 0, "t", "e"), 3, 2, "t", "e"},
      {node(1, 9, 2), node(1, 7, 4, "s"), 7, 4, "s", nullptr, true},
      {node(1, 9, 1), lowered(node(1, 7, 7), 3), 3, 3, nullptr, nullptr},
  };
  for (const auto& [known, added, count, used, start, end, isClosed] : cases) {
    OQRecordTree tree;
    known->setActivated(true);
    added->setUserClosed(isClosed);
    for (const Node& each : {known, added, node(1, -1)}) EXPECT_TRUE(tree.addTreeNode(each));
    ASSERT_EQ(tree.allNodes()->all(), std::vector{known});
    EXPECT_EQ(known->count(), count);
    EXPECT_EQ(known->usedCount(), used);
    EXPECT_EQ(known->startTime(), start);
    EXPECT_EQ(known->endTime(), end);
    EXPECT_TRUE(known->isActivated());
    EXPECT_EQ(known->isUserClosed(), isClosed);
  }
}

/// The result is the same as for a linear search, whatever changes the array and whatever ids its nodes get.
TEST(RecordTree, FindsTheSameNodeAsALinearSearchAfterAnyChange) {
  std::mt19937 random(20260310);
  const auto below = [&](std::size_t most) { return most ? random() % most : 0; };
  const auto array = std::make_shared<OQRecordTree::Nodes>();
  const auto tree = OQRecordTree::treeWithNodes(array);
  std::vector<Node> walked;
  const auto first = [&](std::int64_t id) {
    for (const Node& known : walked) {
      if (known && known->nodeId() == id) return known;
    }
    return Node();
  };
  for (int step = 0; step < 20000; ++step) {
    const auto id = static_cast<std::int64_t>(below(15));
    const auto position = static_cast<std::ptrdiff_t>(below(walked.size() + 1));
    const Node made = below(9) == 0 ? nullptr : node(id, step);
    switch (walked.size() > 30 ? 0 : below(7)) {
      case 0:
        tree->removeTreeNode(node(id));
        std::erase_if(walked, [&](const Node& known) { return known && known->nodeId() == id; });
        break;
      case 1:
        walked.insert(walked.begin() + position, made);
        array->change([&](auto& nodes) { nodes = walked; });
        break;
      case 2:
        if (position < std::ssize(walked) && walked[position]) walked[position]->setNodeId(id);
        break;
      default: {
        const Node known = first(id);
        tree->addTreeNode(made);
        if (known && made) {
          ASSERT_EQ(known->count(), step) << "refreshed";
        } else if (made) {
          walked.push_back(made);
        }
      }
    }
    ASSERT_EQ(array->all(), walked) << "step " << step;
    ASSERT_EQ(tree->findTreeNodeById(id), first(id)) << "step " << step;
  }
}

TEST(RecordTree, UsedCountReadFromAFileIsAtMostTheCount) {
  test::TemporaryFolder folder;
  const auto file = folder.path() / "records.plist";
  OQRecordTree tree;
  tree.addTreeNode(lowered(node(-4, 8, 8, "2026-01-01 00:00:00", 12), 3));
  tree.findTreeNodeById(-4)->setActivated(true);
  tree.addTreeNode(node(5, 2, 1));
  tree.allNodes()->push_back(nullptr);  // a null node is left out
  ASSERT_TRUE(OQDataArchiver::setData(tree.copyOfNodes(), file));
  EXPECT_FALSE(OQDataArchiver::setData(nullptr, file));
  EXPECT_FALSE(OQDataArchiver::setData(std::shared_ptr<OQRecordTree::Nodes::Vector>(), file));
  EXPECT_FALSE(OQDataArchiver::setData(tree.copyOfNodes(), folder.path() / "missing" / "records.plist"));

  const auto restored = OQDataArchiver::getDataForPath<OQRecordTreeNode>(file);
  ASSERT_TRUE(restored && restored->size() == 2);
  const auto& copy = restored->front();
  EXPECT_EQ(copy->nodeId(), -4);
  EXPECT_EQ(copy->count(), 3);
  EXPECT_EQ(copy->usedCount(), 3);
  EXPECT_EQ(copy->startTime(), JSONValue("2026-01-01 00:00:00"));
  EXPECT_EQ(copy->endTime(), JSONValue(12));
  EXPECT_TRUE(copy->isActivated());
  EXPECT_FALSE(copy->isUserClosed());
  // An empty list is not the same as no list.
  ASSERT_TRUE(OQDataArchiver::setData(OQRecordTree::Nodes::Vector(), file));
  EXPECT_TRUE(OQDataArchiver::getDataForPath<OQRecordTreeNode>(file).value().empty());
  EXPECT_FALSE(OQDataArchiver::getDataForPath<OQRecordTreeNode>(folder.path() / "missing"));
}

TEST(RecordTree, MergesRecordsOfAnotherProcess) {
  constexpr auto lowest = std::numeric_limits<std::int64_t>::min(), highest = std::numeric_limits<std::int64_t>::max();
  struct Case {
    std::int64_t known, own;        ///< this process's used count when the file was last read, and now
    std::int64_t ownCount;          ///< this process's count now; it was 10 when the file was last read
    std::int64_t count, usedCount;  ///< in the file now
    std::int64_t expectedCount, expectedUsedCount;
  };
  const Case cases[] = {
      {2, 2, 10, 10, 5, 10, 5},                        // counted by another process
      {2, 3, 10, 10, 5, 10, 6},                        // also counted by this process, not stored yet
      {2, 9, 10, 10, 5, 10, 10},                       // the sum would exceed the count, and is limited to it
      {2, 2, 10, 3, 3, 3, 3},                          // lowered by another process's list
      {2, 3, 20, 12, 5, 20, 6},                        // raised by a list of this process, not stored yet
      {5, 5, 3, 10, 6, 3, 3},                          // lowered by this process
      {lowest, highest, highest, 10, lowest, 10, 10},  // extreme numbers from a file
      {lowest, highest, highest, highest, highest, highest, highest},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(&each - cases);
    auto own = node(7, std::max<std::int64_t>(10, each.own), each.known);
    KeyedArchiver::archivedDataWithRootObjects({own});
    // The node changes after it was encoded and before it is stored.
    own->setUsedCount(each.own);
    own->setCount(each.ownCount);
    own->noteStored();
    OQRecordTree tree;
    tree.addTreeNode(own);
    tree.adopt({node(7, each.count, each.usedCount)});
    EXPECT_EQ(own->count(), each.expectedCount);
    EXPECT_EQ(own->usedCount(), each.expectedUsedCount);
  }

  // When a new record is adopted, it is deactivated, unless the user closed the window.
  for (const bool isClosed : {false, true}) {
    OQRecordTree tree;
    const auto added = node(2, 5);
    added->setActivated(true);
    added->setUserClosed(isClosed);
    tree.adopt({added});
    EXPECT_EQ(added->isActivated(), isClosed);
    tree.adopt({node(2, 5)});
    EXPECT_EQ(added->isUserClosed(), isClosed);
    EXPECT_THAT(ids(tree), testing::ElementsAre(2));
  }
}

}  // namespace
}  // namespace oq
