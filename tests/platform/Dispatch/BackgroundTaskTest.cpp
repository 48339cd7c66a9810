// SPDX-License-Identifier: Apache-2.0
#include "Dispatch/BackgroundTask.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>

namespace oq {
namespace {

TEST(BackgroundTask, FinishWaitsForStartedWorkAndRunsWaitingWork) {
  std::promise<void> begun, released;
  std::atomic<int> runs{0};
  BackgroundTask task([&] {
    begun.set_value();
    released.get_future().wait();
    ++runs;
  });
  task.start();
  begun.get_future().wait();
  std::thread releaser([&] { released.set_value(); });
  task.finish();
  EXPECT_EQ(runs, 1);
  releaser.join();
  task.finish();
  EXPECT_EQ(runs, 1);

  std::thread::id ranOn;
  BackgroundTask idle([&] { ranOn = std::this_thread::get_id(); });
  idle.finish();
  EXPECT_EQ(ranOn, std::this_thread::get_id());
}

TEST(BackgroundTask, ThreadExitWaitsForItsTasks) {
  std::promise<void> begun, released;
  std::atomic<bool> done{false};
  std::jthread([&] {
    BackgroundTask task([&] {
      begun.set_value();
      released.get_future().wait();
      done = true;
    });
    task.start();
    begun.get_future().wait();
    released.set_value();
  });
  EXPECT_TRUE(done);
}

}  // namespace
}  // namespace oq
