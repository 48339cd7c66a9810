#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "Model/OQRecordTree.h"
#include "support/EngineTest.h"

namespace oq::test {
namespace {

using EngineRestoreTest = EngineTest;

/// The first of many threads that need the campaigns reads them; the others wait for it.
TEST_F(EngineRestoreTest, WhoeverComesFirstFindsWhatEarlierRunsLeft) {
  relaunch();
  deliverInApp({campaign("1", "buy", {{"count", 2}}), campaign("2", "view")});
  deliverSubscriptions({campaign("3", "pay")});
  receive("buy");
  ASSERT_EQ(engine->shownIds(), std::vector<std::string>{"1"});

  relaunch();
  std::vector<std::shared_ptr<OQRecordTree>> trees(8);
  std::vector<std::size_t> lengths(8);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < trees.size(); ++i) {
    threads.emplace_back([&, i] {
      if (i % 2) trees[i] = engine->recordTree();
      lengths[i] = engine->inAppDataArray()->size() + engine->subscribeDataArray()->size();
      if (!trees[i]) trees[i] = engine->recordTree();
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(trees, std::vector(8, trees.front()));
  EXPECT_EQ(lengths, std::vector<std::size_t>(8, 3));
  receive("buy");
  EXPECT_EQ(engine->shownIds(), std::vector<std::string>{"1"}) << "it may show once more";
  EXPECT_EQ(usedCountsOnDisk().front(), std::pair(std::int64_t{1}, std::int64_t{2}));
}

}  // namespace
}  // namespace oq::test
