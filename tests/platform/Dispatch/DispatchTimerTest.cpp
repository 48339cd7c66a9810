// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <atomic>
#include <memory>

#include "Dispatch/DispatchQueue.h"
#include "support/MainLoop.h"
#include "support/Threads.h"

namespace oq {
namespace {

using namespace std::chrono_literals;
using test::runLoopUntil;
using Clock = std::chrono::steady_clock;

constexpr std::int64_t kMillisecond = 1'000'000;

class DispatchTimerTest : public testing::Test {
 protected:
  void SetUp() override { DispatchQueue::installMain(); }
  /// Runs the main loop for 30 ms, so that all timers that are due now fire.
  void settle() {
    bool isOver = false;
    DispatchQueue::main().after(0.03, [&] { isOver = true; });
    ASSERT_TRUE(runLoopUntil([&] { return isOver; }));
  }
};

TEST_F(DispatchTimerTest, FiresOnTheMainQueueOnceOrRepeatedly) {
  int once = 0;
  DispatchTimer single([&] { ++once; });
  single.setTimer(kMillisecond, 0);
  std::vector<Clock::time_point> firings;
  auto start = Clock::now();
  DispatchTimer repeating([&] {
    EXPECT_EQ(DispatchQueue::currentLabel(), DispatchQueue::main().label());
    firings.push_back(Clock::now());
  });
  repeating.setTimer(10 * kMillisecond, 4 * kMillisecond);
  ASSERT_TRUE(runLoopUntil([&] { return firings.size() >= 6; }));
  for (std::size_t i = 0; i < 6; ++i) EXPECT_GE(firings[i] - start, 10ms + 4ms * i) << i;
  EXPECT_EQ(once, 1);
}

TEST_F(DispatchTimerTest, BusyMainThreadGetsOneFiringNotAllMissedOnes) {
  int firings = 0;
  DispatchTimer timer([&] { ++firings; });
  timer.setTimer(0, kMillisecond);
  const auto end = Clock::now() + 30s;
  do {
    std::this_thread::sleep_for(30ms);
  } while (DispatchQueue::drainMain() == 0 && Clock::now() < end);
  EXPECT_EQ(firings, 1);
  timer.setTimer(0, 1);  // fires in every iteration of the loop, and the loop still runs
  settle();
  EXPECT_TRUE(runLoopUntil([&] { return firings > 10; }));
}

TEST_F(DispatchTimerTest, HandlerMayRescheduleOrDestroyItsTimerAndCancelAnother) {
  int replaced = 0, destroyed = 0;
  std::unique_ptr<DispatchTimer> first, second;
  DispatchTimer queued([] { ADD_FAILURE() << "fired after it was cancelled"; });
  first = std::make_unique<DispatchTimer>([&] {
    queued.cancel();
    queued.setTimer(0, 0);  // a cancelled timer stays cancelled
    if (++replaced == 1) first->setTimer(kMillisecond, 0);
  });
  second = std::make_unique<DispatchTimer>([&, held = std::make_shared<int>(7)] {
    ++destroyed;
    second.reset();
    EXPECT_EQ(*held, 7);  // the handler's captures live until it returns
  });
  for (auto* timer : {first.get(), &queued, second.get()}) timer->setTimer(0, kMillisecond);
  ASSERT_TRUE(runLoopUntil([&] { return destroyed == 1 && replaced == 2; }));
  settle();
  EXPECT_EQ(std::tuple(destroyed, replaced), std::tuple(1, 2));
}

TEST_F(DispatchTimerTest, TimersAreThreadSafe) {
  std::atomic<int> firings{0}, finished{0};
  auto threads = test::inThreads(4, [&](int) {
    for (int i = 0; i < 100; ++i) {
      DispatchTimer timer([&] { ++firings; });
      timer.setTimer(0, 1000);
      timer.setTimer(100, 1000);
      if (i % 2) timer.cancel();
    }
    ++finished;
  });
  EXPECT_TRUE(runLoopUntil([&] { return finished == 4; }));
  threads.clear();
  DispatchQueue::drainMain();
  int atEnd = firings;
  settle();
  EXPECT_EQ(firings, atEnd);
}

}  // namespace
}  // namespace oq
