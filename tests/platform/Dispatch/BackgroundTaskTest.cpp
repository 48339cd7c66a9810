// SPDX-License-Identifier: Apache-2.0
#include "Dispatch/BackgroundTask.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>

namespace oq {
namespace {

TEST(BackgroundTask, FinishAndTheEndOfTheStartingThreadWaitForStartedWork) {
  for (const bool finishes : {true, false}) {
    std::promise<void> begun, released;
    const auto hasBegun = begun.get_future().share();
    std::atomic<int> runs{0};
    std::jthread releaser([&] {
      hasBegun.wait();
      released.set_value();
    });
    std::jthread([&] {
      BackgroundTask task([&] {
        begun.set_value();
        released.get_future().wait();
        ++runs;
      });
      task.start();
      hasBegun.wait();
      if (!finishes) return;
      task.finish();
      EXPECT_EQ(runs, 1);
      task.finish();
    });
    EXPECT_EQ(runs, 1);
  }
  std::thread::id ranOn;
  BackgroundTask idle([&] { ranOn = std::this_thread::get_id(); });
  idle.finish();
  EXPECT_EQ(ranOn, std::this_thread::get_id()) << "work that has not started runs at once";
}

}  // namespace
}  // namespace oq
