#pragma once

#include <map>
#include <memory>
#include <optional>

#include "UIKit/Views/UIView.h"
#include "oqsdk/Export.h"

namespace oq {

class UIViewController;

/// The keys that views know. Back is Alt+Left on most keyboards.
enum class UIKeyboardKey { Tab, BackTab, Return, Escape, Back, Up, Down, PageUp, PageDown, Home, End };

/// The root of a tree of views on one screen. The host feeds it touches; it gives each to the view that it began in,
/// recognisers first. The window's own area, and views on the way that take no touches, let a touch through to what the
/// host has below. Main thread only.
class OQSDK_EXPORT UIWindow : public UIView {
  OQ_CLASS(UIWindow)

 public:
  explicit UIWindow(CGRect frame);
  ~UIWindow() override;

  UIWindow* window() const override { return const_cast<UIWindow*>(this); }
  std::shared_ptr<UIViewController> rootViewController() const { return _rootViewController; }
  void setRootViewController(std::shared_ptr<UIViewController> controller);

  /// The pixels per point that pictures in this window are prepared for; the main screen's until the host sets it.
  double contentScale() const;
  /// What was prepared for another scale is prepared again.
  void setContentScale(double scale);
  /// Whether a message, an alert or a page takes all touches, outside the stage too.
  bool isCovered();

  /// Whether a touch there is the library's: a view would take it, or is in motion and lets nothing through.
  bool wantsTouchAt(CGPoint point);
  /// A touch that begins; `identifier` tells fingers apart. False when it is the host's, and nothing further is wanted.
  bool touchBegan(int identifier, CGPoint point, double timestamp);
  void touchMoved(int identifier, CGPoint point, double timestamp);
  void touchEnded(int identifier, CGPoint point, double timestamp);
  void touchCancelled(int identifier);
  /// Wheel or touchpad; true when a view used it.
  bool scroll(CGPoint point, double dx, double dy);
  /// What is left of a scrolling movement when the fingers leave a touchpad, in points a second; true when a view used
  /// it.
  bool fling(CGPoint point, double dx, double dy);

  // The keyboard. Nothing is focused until Tab goes to it, so that whoever is typing when a window comes up presses
  // nothing in it by accident.
  /// Tab goes round the elements that can be pressed, Return presses the focused one, Escape leaves the front-most
  /// dialog where that has such a way out, Back goes one step back in it, the rest scrolls. True when the key is the
  /// library's: with a dialog on screen every one of these is.
  bool pressKey(UIKeyboardKey key);
  /// Around it a ring is painted. nullptr without one.
  std::shared_ptr<UIView> focusedView() const;
  void setFocusedView(const std::shared_ptr<UIView>& view);
  /// The ring, for a view of that size.
  const std::shared_ptr<LayerContent>& focusRing(CGSize size);
  /// The pointer is there; without a point it has left the window. Returns whether a press there does something. To be
  /// called again when the window changes under a pointer at rest.
  bool pointerMoved(std::optional<CGPoint> point);
  /// Cancels the touches that began in the view or below it.
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
  std::weak_ptr<UIView> _hovered;  ///< where the pointer is, if that can be pressed
  std::shared_ptr<LayerContent> _focusRing;
  double _contentScale = 0;  ///< 0: the main screen's
};

}  // namespace oq
