// SPDX-License-Identifier: Apache-2.0
#include "Utils/OQTimer.h"

#include <gtest/gtest.h>

#include <functional>

#include "oqsdk/Exception.h"
#include "support/MainLoop.h"

namespace oq {
namespace {

const OQTimer::Action tick{"timerTestTick:"};

class Ticking : public Object {
  OQ_CLASS(Ticking)
 public:
  int ticks = 0;
  std::function<void(OQTimer&)> onTick = [](OQTimer&) {};

 private:
  void _tick(OQTimer& timer) {
    ++ticks;
    onTick(timer);
  }
};

Class* Ticking::staticClass() {
  static Class* registered = registerClass("TimerTestTicking", Object::staticClass(), {method<&Ticking::_tick>(tick)});
  return registered;
}

class Timer : public testing::Test {
 protected:
  Timer() { DispatchQueue::installMain(); }
  /// Waits until a timer of that many seconds has fired.
  static void wait(double seconds) {
    auto fence = std::make_shared<Ticking>();
    auto later = OQTimer::timerWithTimeInterval(seconds, fence, tick, false);
    EXPECT_TRUE(test::runLoopUntil([&] { return fence->ticks == 1; }));
  }
  std::shared_ptr<Ticking> target = std::make_shared<Ticking>();
};

TEST_F(Timer, FiresOnceAndIsThenInvalid) {
  auto once = OQTimer::initWithFireTime(0, 3600, target, tick, false);
  EXPECT_TRUE(once->isValid() && !once->repeats());
  wait(0.01);
  once->fire();
  EXPECT_EQ(target->ticks, 1);
  EXPECT_FALSE(once->isValid());
  EXPECT_EQ(once->timeInterval(), 3600);
  EXPECT_THROW(OQTimer(), Exception) << "without arguments";
}

TEST_F(Timer, RepeatsUntilItsTargetOrItselfIsDestroyed) {
  auto timer = OQTimer::initWithFireTime(-1, 0.001, target, tick, true);
  EXPECT_TRUE(test::runLoopUntil([&] { return target->ticks >= 3; }));
  EXPECT_TRUE(timer->isValid() && timer->repeats());
  target.reset();
  EXPECT_TRUE(test::runLoopUntil([&] { return !timer->isValid(); }));

  target = std::make_shared<Ticking>();
  timer = OQTimer::timerWithTimeInterval(0, target, tick, true);
  target->onTick = [&](OQTimer& fired) {
    fired.invalidate();
    timer.reset();
  };
  EXPECT_TRUE(test::runLoopUntil([&] { return target->ticks == 1; }));
  OQTimer::timerWithTimeInterval(0.001, target, tick, true).reset();
  wait(0.02);
  EXPECT_EQ(target->ticks, 1);
}

}  // namespace
}  // namespace oq
