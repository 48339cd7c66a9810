// SPDX-License-Identifier: Apache-2.0
#include "UIKit/Views/Animation.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "Dispatch/DispatchQueue.h"
#include "UIKit/Views/UIView.h"
#include "UIKit/Windows/UIApplication.h"

namespace oq {

namespace {

/// Tolerance for rounding errors in sums of frame times and durations.
constexpr double kTimeTolerance = 1e-9;

/// The standard ease-in-out curve, a cubic Bézier with the control points (0.42, 0) and (0.58, 1).
double easeInOut(double time) {
  double s = time;
  for (int round = 0; round < 6; ++round) {
    double x = 3 * (1 - s) * (1 - s) * s * 0.42 + 3 * (1 - s) * s * s * 0.58 + s * s * s;
    double slope = 3 * (1 - s) * (1 - s) * 0.42 + 6 * (1 - s) * s * (0.58 - 0.42) + 3 * s * s * (1 - 0.58);
    s -= (x - time) / slope;
  }
  return s * s * (3 - 2 * s);
}

}  // namespace

bool AnimationGroup::hasEndedBy(double now) const {
  return end() <= now + kTimeTolerance;
}

double AnimationGroup::progress(double now) const {
  if (hasEndedBy(now)) return 1;
  if (now <= start) return 0;
  if (timing.decay > 0)
    return -std::expm1(-timing.decay * (now - start)) / -std::expm1(-timing.decay * timing.duration);
  return easeInOut((now - start) / timing.duration);
}

// Never destroyed, because views with static storage duration need it at process exit to end their animations.
AnimationEngine& AnimationEngine::shared() {
  static auto& engine = *new AnimationEngine;
  return engine;
}

void AnimationEngine::begin(AnimationTiming timing, std::function<void(bool)> completion) {
  auto group = std::make_shared<AnimationGroup>();
  group->start = UIApplication::sharedApplication().now();
  group->timing = timing;
  if (!std::isfinite(timing.duration)) group->timing.duration = 0;
  if (!_enabled) group->timing.duration = std::min(group->timing.duration, _shortest);
  group->completion = std::move(completion);
  _stack.push_back(std::move(group));
}

void AnimationEngine::commit() {
  auto group = std::move(_stack.back());
  _stack.pop_back();
  group->committed = true;
  if (group->running == 0) complete(*group);
  UIApplication::sharedApplication().animationsChanged();
}

/// Called only once per group, when the group's block has returned and none of its properties is animated any more.
/// After the block has returned, no property is added, so that happens only once.
void AnimationEngine::complete(AnimationGroup& group) {
  if (!group.completion) return;
  DispatchQueue::main().async(
      [completion = std::move(group.completion), finished = group.finished] { completion(finished); });
}

void AnimationEngine::propertyEnded(const std::shared_ptr<AnimationGroup>& group, bool finished) {
  group->finished = group->finished && finished;
  if (--group->running == 0 && group->committed) complete(*group);
}

void AnimationEngine::track(UIView& view) {
  if (std::find(_views.begin(), _views.end(), &view) == _views.end()) _views.push_back(&view);
}

void AnimationEngine::forget(UIView& view) {
  std::erase(_views, &view);
}

void AnimationEngine::step(double now) {
  for (UIView* view : _views) view->layer().takeOffEnded(now);
  std::erase_if(_views, [](UIView* view) { return !view->layer().isAnimating(); });
}

void AnimationEngine::setEnabled(bool enabled, double shortest) {
  _shortest = shortest;
  if (_enabled == enabled) return;
  _enabled = enabled;
  if (!enabled) UIApplication::sharedApplication().step(std::numeric_limits<double>::infinity());
}

double AnimationEngine::nextDeadline() const {
  double next = std::numeric_limits<double>::infinity();
  for (const UIView* view : _views) next = std::min(next, view->layer().nextEnd());
  return next;
}

void UIView::animateWithDuration(double duration, const std::function<void()>& animations,
                                 std::function<void(bool)> completion) {
  struct Commit {
    ~Commit() { AnimationEngine::shared().commit(); }
  };
  AnimationEngine::shared().begin({duration}, std::move(completion));
  const Commit commit;
  if (animations) animations();
}

void UIView::removeAnimationsInSubtree() {
  _layer.removeAllAnimations();
  for (const auto& child : _subviews) child->removeAnimationsInSubtree();
}

}  // namespace oq
