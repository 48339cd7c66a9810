// SPDX-License-Identifier: Apache-2.0
#include "Utils/OQDispatchQueueManager.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <future>
#include <thread>
#include <vector>

#include "support/MainLoop.h"

namespace oq {
namespace {

const void* const kAsyncTask = QUEUE_TAG_HANDLE_NORMAL_ASYNC_TASK_IN_MAIN_THREAD;

TEST(DispatchQueueManager, RunsImmediatelyOnlyOnTheMainQueue) {
  DispatchQueue::installMain();
  std::vector<int> order;
  OQDispatchQueueManager::dispatchInMainThread([&] { order.push_back(1); }, false);
  OQDispatchQueueManager::dispatchInMainThread([&] { order.push_back(2); }, true);
  EXPECT_EQ(order, (std::vector<int>{1, 2}));
  DispatchQueue::serial("test")->sync([&] {
    OQDispatchQueueManager::dispatchInMainThread([&] { order.push_back(4); }, true);
    order.push_back(3);
  });
  EXPECT_EQ(order.back(), 3);
  EXPECT_TRUE(test::runLoopUntil([&] { return order.back() == 4; }));
  OQDispatchQueueManager::dispatchInMainThread(nullptr, false);
  OQDispatchQueueManager::dispatchInSerialQueue(kAsyncTask, nullptr);
  // From another thread the call waits.
  std::thread::id ranOn;
  std::atomic<bool> returned = false;
  std::thread caller([&] {
    OQDispatchQueueManager::dispatchInMainThread([&] { ranOn = std::this_thread::get_id(); }, false);
    returned = true;
  });
  EXPECT_TRUE(test::runLoopUntil([&] { return returned.load(); }));
  caller.join();
  EXPECT_EQ(ranOn, std::this_thread::get_id());
}

TEST(DispatchQueueManager, HasOneSerialQueueForAllTags) {
  std::promise<std::vector<std::string>> done;
  auto order = std::make_shared<std::vector<std::string>>();
  OQDispatchQueueManager::dispatchInSerialQueue(kAsyncTask, [&, order] {
    order->push_back(DispatchQueue::currentLabel());
    // The queue does not recognise the second tag, so its work goes to the end of the same queue.
    OQDispatchQueueManager::dispatchInSerialQueue(QUEUE_TAG_HANDLE_RECEIVED_EVENT_DATA_IN_MAIN_THREAD, [&, order] {
      order->push_back(DispatchQueue::currentLabel());
      done.set_value(*order);
    });
    OQDispatchQueueManager::dispatchInSerialQueue(kAsyncTask, [order] { order->push_back("inner"); });
    order->push_back("outer ends");
  });
  EXPECT_EQ(done.get_future().get(), (std::vector<std::string>{"com.torvelin.oqsdk.asyncTask", "inner", "outer ends",
                                                               "com.torvelin.oqsdk.asyncTask"}));
}

/// Runs in a separate process, because the first call decides permanently.
int outcomeOfAForeignFirstTag() {
  static int foreign;
  OQDispatchQueueManager::dispatchInSerialQueue(&foreign, [] { std::_Exit(1); });
  OQDispatchQueueManager::dispatchInSerialQueue(kAsyncTask, [] { std::_Exit(2); });
  std::promise<void> passed;
  DispatchQueue::serial("other")->async([&] { passed.set_value(); });
  passed.get_future().wait();
  return 0;
}

TEST(DispatchQueueManager, UnknownFirstTagLeavesNoQueue) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(std::exit(outcomeOfAForeignFirstTag()), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace oq
