// SPDX-License-Identifier: Apache-2.0
#include "UIKit/Views/UIControl.h"

namespace oq {

namespace {
/// How far a finger may move out of a pressed control before the highlight ends, in points.
constexpr double kTrackingSlop = 70;

CGRect grown(CGRect rect, double by) {
  return {{rect.origin.x - by, rect.origin.y - by}, {rect.size.width + 2 * by, rect.size.height + 2 * by}};
}
}  // namespace

Class* UIControl::staticClass() {
  static Class* registered = registerClass("UIControl", UIView::staticClass());
  return registered;
}

void UIControl::addTarget(Action action, std::uint32_t events) {
  if (action) _actions.emplace_back(events, std::move(action));
}

void UIControl::sendActionsForControlEvents(std::uint32_t events) {
  const auto self = shared_from_this();
  const auto actions = _actions;
  for (const auto& [mask, action] : actions) {
    if (mask & events) action(*this);
  }
}

void UIControl::setHighlighted(bool highlighted) {
  if (_highlighted == highlighted) return;
  _highlighted = highlighted;
  setNeedsDisplay();
}

void UIControl::setEnabled(bool enabled) {
  if (_enabled == enabled) return;
  _enabled = enabled;
  if (!enabled) {
    _tracking = false;
    setHighlighted(false);
  }
  setNeedsDisplay();
}

void UIControl::hoverChanged(bool hovered) {
  if (_hovered == hovered) return;
  _hovered = hovered;
  setNeedsDisplay();
}

void UIControl::didMoveToWindow() {
  if (!window()) hoverChanged(false);
}

UIAccessibilityTraits UIControl::accessibilityTraits() const {
  return UIView::accessibilityTraits() | (_enabled ? UIAccessibilityTraitNone : UIAccessibilityTraitNotEnabled);
}

bool UIControl::accessibilityActivate() {
  if (!_enabled) return false;
  sendActionsForControlEvents(UIControlEventTouchUpInside);
  return true;
}

void UIControl::touchesBegan(UITouch&) {
  if (!_enabled) return;
  _tracking = true;
  setHighlighted(true);
  sendActionsForControlEvents(UIControlEventTouchDown);
}

void UIControl::touchesMoved(UITouch& touch) {
  if (_tracking) setHighlighted(grown(bounds(), kTrackingSlop).contains(touch.locationIn(*this)));
}

void UIControl::touchesEnded(UITouch& touch) {
  if (!_tracking) return;
  _tracking = false;
  setHighlighted(false);
  const bool isInside = pointInside(touch.locationIn(*this));
  sendActionsForControlEvents(isInside ? UIControlEventTouchUpInside : UIControlEventTouchUpOutside);
}

void UIControl::touchesCancelled(UITouch&) {
  if (!_tracking) return;
  _tracking = false;
  setHighlighted(false);
  sendActionsForControlEvents(UIControlEventTouchCancel);
}

}  // namespace oq
