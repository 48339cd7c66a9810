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
  // Where the system has no thread or no descriptor to give at the moment, the next call asks again.
  const bool hadNone = _descriptor < 0;
  if (hadNone) _descriptor = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC);
  if (!_hasThread) _hasThread = startBackgroundThread("oq-timer", [this] { runThread(); });
  // A descriptor that came late has to be set for the calls before this one, too.
  if (hadNone || inserted == _calls.begin()) setAlarm();
  return ticket;
}

void DeadlineThread::cancel(const Ticket& ticket) {
  std::function<void()> cancelled;  // let go of after the lock
  std::lock_guard lock(_mutex);
  auto found = _calls.find(ticket);
  if (found == _calls.end()) return;
  cancelled = std::move(found->second);
  _calls.erase(found);
}

/// The steady clock is CLOCK_MONOTONIC, so a point in time can be handed to the kernel as it is.
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
  // The process has no descriptor for the timer: look every few milliseconds instead.
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
