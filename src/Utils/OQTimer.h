// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <mutex>

#include "Dispatch/DispatchQueue.h"
#include "oqsdk/Runtime.h"

namespace oq {

class OQTimer;

template <>
struct TypeEncoding<OQTimer> {
  static constexpr std::string_view text = "{OQTimer}";
};

/// Sends a selector to its target on the main queue, once or repeatedly. Runs from its creation until invalidate(), its
/// single firing, the first firing after the target was destroyed, or its own destruction.
///
/// Thread-safe. The target is held weakly and called without holding the timer's lock.
class OQTimer : public Object, public std::enable_shared_from_this<OQTimer> {
  OQ_CLASS(OQTimer)

 public:
  /// The action; it gets the timer. The target's class must have a method for it.
  using Action = Selector<void(OQTimer&)>;

  /// Creates a timer that first fires after one interval. initWithFireTime() creates one that first fires after
  /// `fireTime`. All times are in seconds from now.
  static std::shared_ptr<OQTimer> timerWithTimeInterval(double interval, const std::shared_ptr<Object>& target,
                                                        const Action& selector, bool repeats);
  static std::shared_ptr<OQTimer> initWithFireTime(double fireTime, double interval,
                                                   const std::shared_ptr<Object>& target, const Action& selector,
                                                   bool repeats);
  /// Always throws Exception "OQTimer init error", because a timer needs arguments.
  OQTimer();
  ~OQTimer() override;

  /// Runs the action once, on the calling thread. A timer that does not repeat, or whose target was destroyed, is then
  /// stopped.
  void fire();
  /// Stops the timer permanently.
  void invalidate();

  bool repeats() const;
  double timeInterval() const;
  bool isValid() const;

 private:
  OQTimer(double interval, const std::shared_ptr<Object>& target, SEL selector, bool repeats);
  void start(double fireTime);

  bool _valid = true;
  double _timeInterval;
  bool _repeats;
  std::weak_ptr<Object> _target;
  SEL _selector;
  std::unique_ptr<DispatchTimer> _source;
  mutable std::mutex _lock;
};

}  // namespace oq
