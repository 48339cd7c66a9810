// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

#include "UIKit/Input/UITouch.h"

namespace oq {

class UIView;

/// Receives the touches of its view before the view. The caller keeps the recogniser alive during the call, because an
/// action may drop the view.
class UIGestureRecognizer {
 public:
  virtual ~UIGestureRecognizer() = default;
  virtual void touchesBegan(UITouch& touch, UIView& view) = 0;
  virtual void touchesMoved(UITouch& touch, UIView& view) = 0;
  /// True if this touch completed the gesture; the view's own handling is then cancelled.
  virtual bool touchesEnded(UITouch& touch, UIView& view) = 0;
  virtual void touchesCancelled(UITouch& touch, UIView& view) = 0;
  /// Performs the gesture's action without a touch; false if that is not possible.
  virtual bool activate() { return false; }
};

/// Recognises a touch that ends inside the view and has moved at most 10 points.
class UITapGestureRecognizer : public UIGestureRecognizer {
 public:
  explicit UITapGestureRecognizer(std::function<void()> action) : _action(std::move(action)) {}
  void touchesBegan(UITouch& touch, UIView& view) override;
  void touchesMoved(UITouch& touch, UIView& view) override;
  bool touchesEnded(UITouch& touch, UIView& view) override;
  void touchesCancelled(UITouch& touch, UIView& view) override;
  bool activate() override;

 private:
  std::function<void()> _action;
  CGPoint _start;
  bool _possible = false;
};

}  // namespace oq
