// SPDX-License-Identifier: Apache-2.0

// The lateness of timers on an otherwise idle main queue.
#include <glib.h>

#include "Dispatch/DispatchQueue.h"
#include "Measure.h"
#include "Utils/OQTimer.h"

namespace {

using namespace oq;
using namespace oq::bench;

constexpr int kTimers = 300;
constexpr double kInterval = 0.007;

const OQTimer::Action tick{"timerBenchTick:"};

/// Records the lateness of each firing.
class Ticking : public Object {
  OQ_CLASS(Ticking)

 public:
  void begin() { _due = Clock::now() + std::chrono::duration_cast<Clock::duration>(interval()); }
  std::vector<double> lateness;  ///< milliseconds

 private:
  static std::chrono::duration<double> interval() { return std::chrono::duration<double>(kInterval); }
  void _tick(OQTimer&) { lateness.push_back(-1e3 * std::chrono::duration<double>(_due - Clock::now()).count()); }
  Clock::time_point _due;
};

Class* Ticking::staticClass() {
  static Class* registered = registerClass("TimerBenchTicking", Object::staticClass(), {method<&Ticking::_tick>(tick)});
  return registered;
}

}  // namespace

int main() {
  DispatchQueue::installMain();
  auto target = std::make_shared<Ticking>();
  for (int round = 0; round < kTimers; ++round) {
    target->begin();
    auto timer = OQTimer::timerWithTimeInterval(kInterval, target, tick, false);
    while (timer->isValid()) g_main_context_iteration(nullptr, TRUE);
  }
  require(target->lateness.size() == kTimers, "each timer fires once");
  // A negative lateness is a timer that fired early.
  require(percentile(target->lateness, 0) > -0.01, "no timer fires early");
  note("timer_lateness_p99", percentile(target->lateness, 0.99), "ms");
  atMost("timer_lateness_median_ms", median(target->lateness), 2);
}
