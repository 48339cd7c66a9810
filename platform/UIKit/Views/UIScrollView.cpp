// SPDX-License-Identifier: Apache-2.0
#include "UIKit/Views/UIScrollView.h"

#include <algorithm>
#include <cmath>

#include "UIKit/Views/Animation.h"
#include "UIKit/Windows/UIApplication.h"

namespace oq {

namespace {

constexpr double kTakeOverDistance = 10;
constexpr double kDecay = 2;       // per second; the speed decreases exponentially at this rate
constexpr double kSlowest = 50;    // points per second; slower drags do not decelerate
constexpr double kStandstill = 5;  // points per second; treated as standing still
constexpr double kFastest = 8000;  // points per second
constexpr double kMemory = 0.1;    // seconds; this last part of a drag determines its speed

double length(CGPoint vector) {
  return std::hypot(vector.x, vector.y);
}

}  // namespace

Class* UIScrollView::staticClass() {
  static Class* registered = registerClass("UIScrollView", UIView::staticClass());
  return registered;
}

UIScrollView::UIScrollView() {
  setClipsToBounds(true);
}

void UIScrollView::setContentSize(CGSize size) {
  _contentSize = size;
  setContentOffset(contentOffset());
}

CGPoint UIScrollView::clamped(CGPoint offset) const {
  const CGSize shown = bounds().size;
  return {std::clamp(offset.x, 0.0, std::max(0.0, _contentSize.width - shown.width)),
          std::clamp(offset.y, 0.0, std::max(0.0, _contentSize.height - shown.height))};
}

void UIScrollView::setContentOffset(CGPoint offset) {
  setBounds({clamped(offset), bounds().size});
}

CGPoint UIScrollView::shownOffset() const {
  return layer().presentation(UIApplication::sharedApplication().now()).bounds.origin;
}

void UIScrollView::stop() {
  if (isDecelerating()) setContentOffset(shownOffset());
}

std::shared_ptr<UIView> UIScrollView::hitTest(CGPoint point) {
  auto hit = UIView::hitTest(point);
  return hit && isDecelerating() ? shared_from_this() : hit;
}

bool UIScrollView::takesOver(const UITouch& touch) const {
  const double dragged = std::abs(touch.locationInWindow.y - touch.startInWindow.y);
  return dragged > kTakeOverDistance && _contentSize.height > bounds().size.height;
}

// Drags are measured in window coordinates, because the view's own coordinates move while it scrolls.
void UIScrollView::touchesBegan(UITouch& touch) {
  stop();
  _dragStart = touch.locationInWindow;
  _offsetAtStart = contentOffset();
  _drag = {{touch.timestamp, touch.locationInWindow}};
}

void UIScrollView::touchesMoved(UITouch& touch) {
  const CGPoint now = touch.locationInWindow;
  setContentOffset({_offsetAtStart.x - (now.x - _dragStart.x), _offsetAtStart.y - (now.y - _dragStart.y)});
  std::erase_if(_drag, [&](const Sample& sample) { return sample.time < touch.timestamp - kMemory; });
  _drag.push_back({touch.timestamp, now});
}

void UIScrollView::touchesEnded(UITouch& touch) {
  const CGPoint finger = velocityAt(touch.timestamp);
  _drag.clear();
  decelerate({-finger.x, -finger.y});
}

/// The velocity of the finger from its recent positions; zero if the finger has rested since the last of them.
CGPoint UIScrollView::velocityAt(double time) const {
  if (_drag.empty()) return {};
  const Sample &first = _drag.front(), &last = _drag.back();
  const double elapsed = last.time - first.time;
  if (!(elapsed > 0) || time - last.time > kMemory) return {};
  return {(last.at.x - first.at.x) / elapsed, (last.at.y - first.at.y) / elapsed};
}

bool UIScrollView::decelerate(CGPoint velocity) {
  stop();
  if (!AnimationEngine::shared().isEnabled()) return false;
  const double speed = std::min(length(velocity), kFastest);
  if (!(speed >= kSlowest)) return false;
  const double slowed = speed / length(velocity);
  const CGPoint from = contentOffset();
  const CGPoint to = clamped({from.x + velocity.x * slowed / kDecay, from.y + velocity.y * slowed / kDecay});
  const double way = length({to.x - from.x, to.y - from.y});
  if (way < 1) return false;
  // The end of the content does not slow the motion down in advance. The motion only stops there, and so takes less
  // time.
  const double freeTime = std::log(speed / kStandstill) / kDecay;
  const double left = 1 - way * kDecay / speed;
  const double time = left > 0 ? std::min(freeTime, -std::log(left) / kDecay) : freeTime;
  AnimationEngine::shared().begin({time, kDecay, true}, nullptr);
  setContentOffset(to);
  AnimationEngine::shared().commit();
  return true;
}

bool UIScrollView::scrollBy(double dx, double dy) {
  stop();
  const CGPoint before = contentOffset();
  setContentOffset({before.x + dx, before.y + dy});
  return contentOffset() != before;
}

bool UIScrollView::flingBy(double dx, double dy) {
  return decelerate({dx, dy});
}

}  // namespace oq
