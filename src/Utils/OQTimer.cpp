// SPDX-License-Identifier: Apache-2.0
#include "Utils/OQTimer.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

#include "oqsdk/Exception.h"

namespace oq {

namespace {

/// Converts seconds to nanoseconds. Larger numbers than Count can hold become its largest number; negative numbers and
/// not-a-number become 0.
template <class Count>
Count nanoseconds(double seconds) {
  double count = seconds * 1e9;
  if (!(count > 0)) return 0;
  // The largest integer cannot be represented as a double. The next larger double is the first number that is too
  // large.
  if (count >= std::ldexp(1.0, std::numeric_limits<Count>::digits)) return std::numeric_limits<Count>::max();
  return static_cast<Count>(count);
}

}  // namespace

Class* OQTimer::staticClass() {
  static Class* registered = registerClass("OQTimer", Object::staticClass());
  return registered;
}

std::shared_ptr<OQTimer> OQTimer::timerWithTimeInterval(double interval, const std::shared_ptr<Object>& target,
                                                        const Action& selector, bool repeats) {
  return initWithFireTime(interval, interval, target, selector, repeats);
}

std::shared_ptr<OQTimer> OQTimer::initWithFireTime(double fireTime, double interval,
                                                   const std::shared_ptr<Object>& target, const Action& selector,
                                                   bool repeats) {
  std::shared_ptr<OQTimer> timer(new OQTimer(interval, target, selector.sel(), repeats));
  timer->start(fireTime);
  return timer;
}

OQTimer::OQTimer() {
  throw Exception("OQTimer init error", "Use the designated initializer to init.");
}

OQTimer::OQTimer(double interval, const std::shared_ptr<Object>& target, SEL selector, bool repeats)
    : _timeInterval(interval), _repeats(repeats), _target(target), _selector(selector) {}

OQTimer::~OQTimer() {
  invalidate();
}

void OQTimer::start(double fireTime) {
  std::lock_guard lock(_lock);
  _source = std::make_unique<DispatchTimer>([weak = weak_from_this()] {
    if (auto timer = weak.lock()) timer->fire();
  });
  // A source with interval 0 would fire only once, even if the timer repeats.
  _source->setTimer(nanoseconds<std::int64_t>(fireTime),
                    std::max<std::uint64_t>(1, nanoseconds<std::uint64_t>(_timeInterval)));
}

void OQTimer::fire() {
  std::shared_ptr<Object> target;
  {
    std::lock_guard lock(_lock);
    if (!_valid) return;
    target = _target.lock();
  }
  if (target) {
    detail::MessageTo<Action::Signature>::send(target->class_(), *target, _selector, *this);
    if (_repeats) return;
  }
  invalidate();
}

void OQTimer::invalidate() {
  // Destroyed after the lock is released.
  std::unique_ptr<DispatchTimer> source;
  std::lock_guard lock(_lock);
  if (!_valid) return;
  source = std::move(_source);
  _target.reset();
  _valid = false;
}

bool OQTimer::repeats() const {
  std::lock_guard lock(_lock);
  return _repeats;
}

double OQTimer::timeInterval() const {
  std::lock_guard lock(_lock);
  return _timeInterval;
}

bool OQTimer::isValid() const {
  std::lock_guard lock(_lock);
  return _valid;
}

}  // namespace oq
