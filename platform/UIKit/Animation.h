#pragma once

#include <functional>
#include <limits>
#include <memory>
#include <vector>

#include "oqsdk/Export.h"

namespace oq {

class UIView;

/// One call of UIView::animateWithDuration(): the properties it set in motion share a start, a duration and a
/// completion. Main thread only.
struct AnimationGroup {
  double start = 0;
  double duration = 0;
  std::size_t running = 0;  ///< properties still in motion
  bool finished = true;     ///< none of them was replaced, removed or detached
  bool committed = false;   ///< its block has returned, so nothing joins any more
  std::function<void(bool)> completion;

  bool hasMotion() const { return duration > 0; }
  bool hasEndedBy(double now) const;
  /// From 0 at the start to 1 at the end, easing in and out.
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
  /// When the first running group ends; infinity when nothing runs.
  double nextDeadline() const;

  // For layers and views.
  /// The innermost block that is running; nullptr outside every block.
  std::shared_ptr<AnimationGroup> current() const { return _stack.empty() ? nullptr : _stack.back(); }
  void begin(double duration, std::function<void(bool)> completion);
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
};

}  // namespace oq
