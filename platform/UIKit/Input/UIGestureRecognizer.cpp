// SPDX-License-Identifier: Apache-2.0
#include "UIKit/Input/UIGestureRecognizer.h"

#include <cmath>

#include "UIKit/Views/UIView.h"

namespace oq {

namespace {
constexpr double kTapSlop = 10;
}

void UITapGestureRecognizer::touchesBegan(UITouch& touch, UIView&) {
  _start = touch.locationInWindow;
  _possible = true;
}

void UITapGestureRecognizer::touchesMoved(UITouch& touch, UIView&) {
  const CGPoint now = touch.locationInWindow;
  if (std::hypot(now.x - _start.x, now.y - _start.y) > kTapSlop) _possible = false;
}

bool UITapGestureRecognizer::touchesEnded(UITouch& touch, UIView& view) {
  touchesMoved(touch, view);
  const bool recognized = _possible && view.pointInside(touch.locationIn(view));
  _possible = false;
  if (!recognized) return false;
  if (_action) _action();
  return true;
}

bool UITapGestureRecognizer::activate() {
  if (!_action) return false;
  // A copy, because the action may destroy its recogniser.
  const auto action = _action;
  action();
  return true;
}

void UITapGestureRecognizer::touchesCancelled(UITouch&, UIView&) {
  _possible = false;
}

}  // namespace oq
