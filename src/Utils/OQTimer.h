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

/// Sends a selector to its target on the main queue, once or again and again. Runs from the moment it is made
/// until invalidate(), its one firing, the first firing after its target has gone, or its destruction.
///
/// Threads: any. The target is held weakly and called outside the timer's lock.
class OQTimer : public Object, public std::enable_shared_from_this<OQTimer> {
  OQ_CLASS(OQTimer)

 public:
  /// The action; it gets the timer. The target's class must have a method for it.
  using Action = Selector<void(OQTimer&)>;

  /// First firing after one interval. Seconds.
  static std::shared_ptr<OQTimer> timerWithTimeInterval(double interval, const std::shared_ptr<Object>& target,
                                                        const Action& selector, bool repeats);
  static std::shared_ptr<OQTimer> initWithFireTime(double fireTime, double interval,
                                                   const std::shared_ptr<Object>& target, const Action& selector,
                                                   bool repeats);
  /// Throws Exception "OQTimer init error": a timer needs its arguments.
  OQTimer();
  ~OQTimer() override;

  /// Runs the action once, on the calling thread.
  void fire();
  /// Stops the timer for good.
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
