#pragma once

#include <functional>

#include "UIKit/Input/UITouch.h"

namespace oq {

class UIView;

/// Watches the touches of its view before the view does. Whoever calls it keeps it alive meanwhile, since an action may
/// drop the view.
class UIGestureRecognizer {
 public:
  virtual ~UIGestureRecognizer() = default;
  virtual void touchesBegan(UITouch& touch, UIView& view) = 0;
  virtual void touchesMoved(UITouch& touch, UIView& view) = 0;
  /// True when the gesture was recognised by this touch; the view's own handling is then cancelled.
  virtual bool touchesEnded(UITouch& touch, UIView& view) = 0;
  virtual void touchesCancelled(UITouch& touch, UIView& view) = 0;
  /// Does without a touch what the gesture does; false when it cannot.
  virtual bool activate() { return false; }
};

/// A touch that ends inside the view without having moved more than 10 points.
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
