#pragma once

#include <functional>
#include <limits>
#include <memory>
#include <vector>

#include "oqsdk/Export.h"

namespace oq {

class UIView;

/// How a motion goes through its time.
struct AnimationTiming {
  double duration = 0;
  /// Above 0: the speed falls by this factor of itself a second, as of something that was pushed. Otherwise the motion
  /// eases in and out.
  double decay = 0;
  /// The views may be touched meanwhile.
  bool letsTouchesThrough = false;
};

/// One call of UIView::animateWithDuration(): the properties it set in motion share a start, a duration and a
/// completion. Main thread only.
struct AnimationGroup {
  double start = 0;
  AnimationTiming timing;
  std::size_t running = 0;  ///< properties still in motion
  bool finished = true;     ///< none of them was replaced, removed or detached
  bool committed = false;   ///< its block has returned, so nothing joins any more
  std::function<void(bool)> completion;

  double end() const { return start + timing.duration; }
  bool hasMotion() const { return timing.duration > 0; }
  bool hasEndedBy(double now) const;
  /// From 0 at the start to 1 at the end.
  double progress(double now) const;
};

/// The running animations of all windows. Time is given to it; it never asks for one of its own.
class OQSDK_EXPORT AnimationEngine {
 public:
  static AnimationEngine& shared();

  /// Takes off what has ended by `now`. The completions follow from the main queue, so that they may start, remove or
  /// destroy anything.
  void step(double now);
  bool isRunning() const { return !_views.empty(); }
  /// The views that are in motion; they are known here without being owned.
  const std::vector<UIView*>& views() const { return _views; }
  /// Off where the user wants no animations: what runs ends at once, and what begins takes at most `shortest` seconds.
  /// Completions are called as always.
  void setEnabled(bool enabled, double shortest = 0);
  bool isEnabled() const { return _enabled; }
  /// When the first running group ends; infinity when nothing runs.
  double nextDeadline() const;

  // For layers and views.
  /// The innermost block that is running; nullptr outside every block.
  std::shared_ptr<AnimationGroup> current() const { return _stack.empty() ? nullptr : _stack.back(); }
  void begin(AnimationTiming timing, std::function<void(bool)> completion);
  void commit();
  void track(UIView& view);
  void forget(UIView& view);
  /// One property of the group has ended; its completion follows from the main queue when it was the last.
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
