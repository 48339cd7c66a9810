// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <memory>
#include <optional>

#include "UIKit/Views/UIView.h"
#include "oqsdk/Export.h"
#include "oqsdk/KeyboardKey.h"

namespace oq {

class UIViewController;

using UIKeyboardKey = KeyboardKey;

/// The root of a tree of views on one screen. The host passes touches to the window. Each touch goes to the view in
/// which it began, first to the view's recognisers. A touch passes through the window's own area, and through views
/// that ignore touches, to the host's widgets below. Main thread only.
class OQSDK_EXPORT UIWindow : public UIView {
  OQ_CLASS(UIWindow)

 public:
  explicit UIWindow(CGRect frame);
  ~UIWindow() override;

  UIWindow* window() const override { return const_cast<UIWindow*>(this); }
  std::shared_ptr<UIViewController> rootViewController() const { return _rootViewController; }
  void setRootViewController(std::shared_ptr<UIViewController> controller);

  /// The pixels per point that pictures in this window are prepared for; the main screen's scale until the host sets
  /// another.
  double contentScale() const;
  /// Contents that were prepared for another scale are prepared again.
  void setContentScale(double scale);
  /// Whether a message, an alert or a page takes all touches, including those around the stage.
  bool isCovered();

  /// Whether the library consumes a touch at the point: a view would take it, or an animated view blocks it.
  bool wantsTouchAt(CGPoint point);
  /// To be called when a touch begins. `identifier` distinguishes fingers. Returns false if the host must handle the
  /// touch. Then the library needs no further events of this touch.
  bool touchBegan(int identifier, CGPoint point, double timestamp);
  void touchMoved(int identifier, CGPoint point, double timestamp);
  void touchEnded(int identifier, CGPoint point, double timestamp);
  void touchCancelled(int identifier);
  /// To be called when a wheel or touchpad scrolls, with the distances in points. Returns whether a view scrolled.
  bool scroll(CGPoint point, double dx, double dy);
  /// To be called when the fingers leave a touchpad, with the remaining velocity in points per second. Returns whether
  /// a view continues the motion.
  bool fling(CGPoint point, double dx, double dy);

  // The keyboard. No view has the focus until the user presses Tab, so that a user who is typing when a window appears
  // does not press a button by accident.
  /// Tab moves the focus through the elements that can be pressed. Return presses the focused one. Escape closes the
  /// front-most dialog if that is possible, and Back goes one step back in it. The other keys scroll. True if the
  /// library consumed the key. While a dialog is shown it consumes all of them.
  bool pressKey(UIKeyboardKey key);
  /// The view that is marked by a ring; nullptr if none is focused.
  std::shared_ptr<UIView> focusedView() const;
  void setFocusedView(const std::shared_ptr<UIView>& view);
  /// The ring that marks a focused view of this size.
  const std::shared_ptr<LayerContent>& focusRing(CGSize size);
  /// To be called when the pointer has moved to `point`, or, with nullopt, when it has left the window. Returns whether
  /// a press at the point has an effect. Call it also when the views under a resting pointer have changed.
  bool pointerMoved(std::optional<CGPoint> point);
  /// Cancels the touches that began in the view or its subviews.
  void cancelTouchesIn(UIView& view);

  std::shared_ptr<UIView> hitTest(CGPoint point) override;

 private:
  bool keepsFromHost(CGPoint point) const;
  bool moveFocus(const std::shared_ptr<UIView>& dialog, bool forward);
  using TouchPointer = std::shared_ptr<UITouch>;
  bool isActive(int identifier, const TouchPointer& touch) const;
  bool hasTouchIn(const UIView& view) const;
  bool passToTakingView(int identifier, const TouchPointer& touch);
  void deliver(int identifier, const TouchPointer& touch);
  static void end(UITouch& touch, UITouchPhase phase);

  std::map<int, std::shared_ptr<UITouch>> _touches;
  std::shared_ptr<UIViewController> _rootViewController;
  std::weak_ptr<UIView> _focused;
  std::weak_ptr<UIView> _hovered;  ///< the view under the pointer, if it can be pressed
  std::shared_ptr<LayerContent> _focusRing;
  double _contentScale = 0;  ///< 0: use the main screen's
};

}  // namespace oq
