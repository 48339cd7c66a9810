// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <utility>

namespace oq {

/// Calls functions at given times, on one thread of its own that sleeps on a timerfd. The functions must be quick;
/// longer work goes to a queue. Thread-safe.
class DeadlineThread {
 public:
  using Clock = std::chrono::steady_clock;
  using Ticket = std::pair<Clock::time_point, std::uint64_t>;

  /// Never destroyed: its thread lives as long as the process.
  static DeadlineThread& shared();

  Ticket callAt(Clock::time_point deadline, std::function<void()> function);
  /// Has no effect if the call has been made or is being made.
  void cancel(const Ticket& ticket);

  /// The time `delay` from now, or the last possible time if that would overflow. A negative delay counts as 0.
  static Clock::time_point after(std::chrono::nanoseconds delay);

 private:
  DeadlineThread() = default;
  void runThread();
  void waitForAlarm() const;
  void setAlarm();
  std::function<void()> takeDue();

  std::mutex _mutex;
  std::map<Ticket, std::function<void()>> _calls;
  std::uint64_t _lastNumber = 0;
  std::atomic<int> _descriptor{-1};
  bool _hasThread = false;
};

}  // namespace oq
