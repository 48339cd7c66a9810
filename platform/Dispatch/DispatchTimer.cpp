// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <limits>
#include <mutex>
#include <optional>
#include <utility>

#include "Dispatch/DeadlineThread.h"
#include "Dispatch/DispatchQueue.h"

namespace oq {

/// Schedules the next firing after the last one has run. If the main loop was busy for a long time, only one firing is
/// queued, not all that were missed.
class DispatchTimer::Impl : public std::enable_shared_from_this<Impl> {
 public:
  explicit Impl(Block handler) : _handler(std::make_shared<const Block>(std::move(handler))) {}

  void set(std::int64_t start, std::uint64_t interval) {
    std::lock_guard lock(_mutex);
    if (!_handler) return;
    ++_setting;
    constexpr std::uint64_t longest = std::numeric_limits<std::int64_t>::max();
    _interval = std::chrono::nanoseconds(static_cast<std::int64_t>(std::min(interval, longest)));
    callAt(DeadlineThread::after(std::chrono::nanoseconds(start)));
  }

  void cancel() {
    std::shared_ptr<const Block> dropped;  // destroyed after the lock: its captures may call back into the timer
    std::lock_guard lock(_mutex);
    ++_setting;
    dropped = std::exchange(_handler, nullptr);
    dropCall();
  }

 private:
  using Clock = DeadlineThread::Clock;

  void dropCall() {
    if (_ticket) DeadlineThread::shared().cancel(*_ticket);
    _ticket.reset();
  }

  void callAt(Clock::time_point deadline) {
    dropCall();
    _deadline = deadline;
    auto fireOnMain = [weak = weak_from_this(), setting = _setting] {
      DispatchQueue::main().async([weak, setting] {
        if (auto self = weak.lock()) self->fire(setting);
      });
    };
    _ticket = DeadlineThread::shared().callAt(deadline, fireOnMain);
  }

  std::shared_ptr<const Block> handlerFor(std::uint64_t setting) {
    std::lock_guard lock(_mutex);
    return setting == _setting ? _handler : nullptr;
  }

  void fire(std::uint64_t setting) {
    auto handler = handlerFor(setting);
    if (!handler) return;
    (*handler)();
    handler.reset();
    std::lock_guard lock(_mutex);
    if (setting == _setting && _interval.count() > 0) callAt(nextDeadline());
  }

  /// The first future time that is a whole number of intervals after the last deadline, so a late firing does not delay
  /// the later ones.
  Clock::time_point nextDeadline() const {
    auto late = std::max(Clock::now() - _deadline, Clock::duration(0));
    auto lastDue = _deadline + (late - late % _interval);
    return lastDue + std::min(_interval, Clock::time_point::max() - lastDue);
  }

  std::mutex _mutex;
  std::shared_ptr<const Block> _handler;  ///< nullptr once cancelled
  std::uint64_t _setting = 0;             ///< the setTimer() call that a queued firing belongs to
  std::chrono::nanoseconds _interval{0};
  Clock::time_point _deadline;
  std::optional<DeadlineThread::Ticket> _ticket;
};

DispatchTimer::DispatchTimer(Block handler) : _impl(std::make_shared<Impl>(std::move(handler))) {}

DispatchTimer::~DispatchTimer() {
  _impl->cancel();
}

void DispatchTimer::setTimer(std::int64_t startNanoseconds, std::uint64_t intervalNanoseconds) {
  _impl->set(startNanoseconds, intervalNanoseconds);
}

void DispatchTimer::cancel() {
  _impl->cancel();
}

}  // namespace oq
