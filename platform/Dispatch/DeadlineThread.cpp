// SPDX-License-Identifier: Apache-2.0
#include "Dispatch/DeadlineThread.h"

#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <thread>

#include "Dispatch/BackgroundThread.h"

namespace oq {

DeadlineThread& DeadlineThread::shared() {
  static auto* thread = new DeadlineThread;
  return *thread;
}

DeadlineThread::Clock::time_point DeadlineThread::after(std::chrono::nanoseconds delay) {
  auto now = Clock::now();
  return now + std::clamp(delay, std::chrono::nanoseconds(0), Clock::time_point::max() - now);
}

DeadlineThread::Ticket DeadlineThread::callAt(Clock::time_point deadline, std::function<void()> function) {
  std::lock_guard lock(_mutex);
  Ticket ticket{deadline, ++_lastNumber};
  auto inserted = _calls.emplace(ticket, std::move(function)).first;
  // If the system has no thread or descriptor now, the next call tries again.
  const bool hadNone = _descriptor < 0;
  if (hadNone) _descriptor = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC);
  if (!_hasThread) _hasThread = startBackgroundThread("oq-timer", [this] { runThread(); });
  // A descriptor that was created late must be armed for the earlier calls, too.
  if (hadNone || inserted == _calls.begin()) setAlarm();
  return ticket;
}

void DeadlineThread::cancel(const Ticket& ticket) {
  std::function<void()> cancelled;  // destroyed after the lock is released
  std::lock_guard lock(_mutex);
  auto found = _calls.find(ticket);
  if (found == _calls.end()) return;
  cancelled = std::move(found->second);
  _calls.erase(found);
}

/// steady_clock is CLOCK_MONOTONIC, so a time point can be passed to the kernel unchanged.
void DeadlineThread::setAlarm() {
  if (_calls.empty()) return;
  auto sinceStart = _calls.begin()->first.first.time_since_epoch();
  auto nanoseconds = std::max<std::int64_t>(1, std::chrono::nanoseconds(sinceStart).count());  // 0 would disarm it
  itimerspec alarm{};
  alarm.it_value.tv_sec = nanoseconds / 1'000'000'000;
  alarm.it_value.tv_nsec = nanoseconds % 1'000'000'000;
  timerfd_settime(_descriptor, TFD_TIMER_ABSTIME, &alarm, nullptr);
}

void DeadlineThread::waitForAlarm() const {
  std::uint64_t expirations;
  if (read(_descriptor, &expirations, sizeof expirations) == sizeof expirations) return;
  // The process has no descriptor for the timer: poll every few milliseconds.
  std::this_thread::sleep_for(std::chrono::milliseconds(4));
}

std::function<void()> DeadlineThread::takeDue() {
  std::lock_guard lock(_mutex);
  if (_calls.empty() || _calls.begin()->first.first > Clock::now()) {
    setAlarm();
    return nullptr;
  }
  auto due = std::move(_calls.begin()->second);
  _calls.erase(_calls.begin());
  return due;
}

void DeadlineThread::runThread() {
  for (;;) {
    waitForAlarm();
    while (auto due = takeDue()) due();
  }
}

}  // namespace oq
