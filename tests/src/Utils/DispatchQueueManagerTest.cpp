// SPDX-License-Identifier: Apache-2.0
#include "Utils/OQDispatchQueueManager.h"

#include <gtest/gtest.h>

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
  const auto note = [&](int number, bool isAsync) {
    OQDispatchQueueManager::dispatchInMainThread([&order, number] { order.push_back(number); }, isAsync);
  };
  note(1, false);
  note(2, true);
  EXPECT_EQ(order, (std::vector<int>{1, 2}));
  DispatchQueue::serial("test")->sync([&] { note(3, true); });
  EXPECT_EQ(order.size(), 2u);
  OQDispatchQueueManager::dispatchInMainThread(nullptr, false);
  // From another thread the call waits.
  std::thread::id ranOn;
  auto caller = std::async(std::launch::async, [&] {
    OQDispatchQueueManager::dispatchInMainThread([&] { ranOn = std::this_thread::get_id(); }, false);
    return ranOn;
  });
  EXPECT_TRUE(test::runLoopUntil([&] { return ranOn != std::thread::id(); }));
  EXPECT_EQ(caller.get(), std::this_thread::get_id());
  EXPECT_EQ(order.back(), 3);
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

}  // namespace
}  // namespace oq
