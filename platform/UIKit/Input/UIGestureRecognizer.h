// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

#include "UIKit/Input/UITouch.h"

namespace oq {

class UIView;

/// Receives the touches of the view that it was added to, before the view does. The caller keeps the recogniser alive
/// during each call, because the recogniser's action may destroy the view.
class UIGestureRecognizer {
 public:
  virtual ~UIGestureRecognizer() = default;
  virtual void touchesBegan(UITouch& touch, UIView& view) = 0;
  virtual void touchesMoved(UITouch& touch, UIView& view) = 0;
  /// True if this touch completed the gesture. The view and the recognisers after this one then get touchesCancelled()
  /// instead of touchesEnded().
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
