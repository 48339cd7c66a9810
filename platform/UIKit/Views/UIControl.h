// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include "UIKit/Views/UIView.h"

namespace oq {

enum UIControlEvents : std::uint32_t {
  UIControlEventTouchDown = 1,
  UIControlEventTouchUpInside = 64,
  UIControlEventTouchUpOutside = 128,
  UIControlEventTouchCancel = 256,
  UIControlEventValueChanged = 4096,
};

enum UIControlState : std::uint32_t {
  UIControlStateNormal = 0,
  UIControlStateHighlighted = 1,
  UIControlStateDisabled = 2
};

/// A view that turns touches into control events. Main thread only.
class UIControl : public UIView {
  OQ_CLASS(UIControl)

 public:
  using Action = std::function<void(UIControl&)>;
  /// The control keeps the action alive; an action should capture other objects weakly.
  void addTarget(Action action, std::uint32_t events);
  /// Calls the actions for the events. An action may remove the control from its superview and release the last
  /// reference to it.
  void sendActionsForControlEvents(std::uint32_t events);
  bool isHighlighted() const { return _highlighted; }
  bool isEnabled() const { return _enabled; }
  void setEnabled(bool enabled);
  /// Whether the pointer is over the control.
  bool isHovered() const { return _hovered; }
  void hoverChanged(bool hovered) override;
  void didMoveToWindow() override;

  UIAccessibilityTraits accessibilityTraits() const override;
  /// Has the same effect as a tap inside the control.
  bool accessibilityActivate() override;

  void touchesBegan(UITouch& touch) override;
  void touchesMoved(UITouch& touch) override;
  void touchesEnded(UITouch& touch) override;
  void touchesCancelled(UITouch& touch) override;

 protected:
  virtual void setHighlighted(bool highlighted);

 private:
  std::vector<std::pair<std::uint32_t, Action>> _actions;
  bool _highlighted = false;
  bool _enabled = true;
  bool _tracking = false;
  bool _hovered = false;
};

}  // namespace oq
