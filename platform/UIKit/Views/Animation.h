// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <limits>
#include <memory>
#include <vector>

#include "oqsdk/Export.h"

namespace oq {

class UIView;

/// The duration of an animation and how its speed changes.
struct AnimationTiming {
  double duration = 0;
  /// If above 0, the motion decelerates exponentially at this rate, per second. Otherwise it eases in and out.
  double decay = 0;
  /// Whether the views accept touches during the motion.
  bool letsTouchesThrough = false;
};

/// The animations that are added between AnimationEngine::begin() and commit(), for example by one call of
/// UIView::animateWithDuration(). They share a start, a duration and a completion. Main thread only.
struct AnimationGroup {
  double start = 0;
  AnimationTiming timing;
  std::size_t running = 0;  ///< properties still animated
  bool finished = true;     ///< no property was replaced, removed or detached
  bool committed = false;   ///< the block has returned, so no property is added any more
  std::function<void(bool)> completion;

  double end() const { return start + timing.duration; }
  bool hasMotion() const { return timing.duration > 0; }
  bool hasEndedBy(double now) const;
  /// From 0 at the start to 1 at the end.
  double progress(double now) const;
};

/// The running animations of all windows. A new animation starts at the time of the host's clock; step() gets the time
/// from its caller.
class OQSDK_EXPORT AnimationEngine {
 public:
  static AnimationEngine& shared();

  /// Removes animations that have ended by `now`. Their completions are called later on the main queue, so that they
  /// may start, remove or destroy anything.
  void step(double now);
  bool isRunning() const { return !_views.empty(); }
  /// The views that are animated, not owned.
  const std::vector<UIView*>& views() const { return _views; }
  /// `enabled` is false if the user wants no animations. Then running animations end immediately, and new ones take at
  /// most `shortest` seconds. Completions are called as usual.
  void setEnabled(bool enabled, double shortest = 0);
  bool isEnabled() const { return _enabled; }
  /// The time at which the next group ends; infinity if no animation runs.
  double nextDeadline() const;

  // For layers and views.
  /// The group of the innermost running block; nullptr outside every block.
  std::shared_ptr<AnimationGroup> current() const { return _stack.empty() ? nullptr : _stack.back(); }
  void begin(AnimationTiming timing, std::function<void(bool)> completion);
  void commit();
  void track(UIView& view);
  void forget(UIView& view);
  /// Called when the animation of one property of the group has ended. After the last one the group's completion is
  /// called on the main queue.
  void propertyEnded(const std::shared_ptr<AnimationGroup>& group, bool finished);

 private:
  AnimationEngine() = default;
  static void complete(AnimationGroup& group);

  std::vector<std::shared_ptr<AnimationGroup>> _stack;
  std::vector<UIView*> _views;
  bool _enabled = true;
  double _shortest = 0;
};

}  // namespace oq
