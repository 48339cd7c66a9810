// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "CoreGraphics/Color.h"
#include "CoreGraphics/Geometry.h"
#include "UIKit/Input/UITouch.h"
#include "UIKit/Painting/CALayer.h"
#include "UIKit/Painting/LayerContent.h"
#include "UIKit/Windows/Accessibility.h"
#include "UIKit/Windows/MainObject.h"
#include "oqsdk/Export.h"
#include "oqsdk/Runtime.h"

namespace oq {

class UIWindow;
class UIGestureRecognizer;

/// A rectangle on screen that paints itself, holds subviews and receives touches. Create it with makeMainObject() (or
/// std::make_shared in a test on the main thread): subviews can be added only to a view that a shared pointer owns, so
/// not in a constructor. A superview owns its subviews; they refer to it weakly. Main thread only.
class OQSDK_EXPORT UIView : public Object, public std::enable_shared_from_this<UIView> {
  OQ_CLASS(UIView)

 public:
  UIView();
  explicit UIView(CGRect frame);
  ~UIView() override;

  // Geometry: position and bounds are stored, the frame is derived.
  CGRect frame() const { return _layer.model().frame(); }
  void setFrame(CGRect frame);
  CGRect bounds() const { return _layer.model().bounds; }
  void setBounds(CGRect bounds) { _layer.setBounds(bounds); }
  CGPoint center() const { return _layer.model().position; }
  void setCenter(CGPoint center) { _layer.setPosition(center); }
  CGPoint convertPointToWindow(CGPoint point) const;
  CGPoint convertPointFromWindow(CGPoint point) const;

  // Appearance.
  double alpha() const { return _layer.model().opacity; }
  void setAlpha(double alpha) { _layer.setOpacity(alpha); }
  bool isHidden() const { return _layer.model().hidden; }
  void setHidden(bool hidden) { _layer.setHidden(hidden); }
  bool clipsToBounds() const { return _layer.model().masksToBounds; }
  void setClipsToBounds(bool clips) { _layer.setMasksToBounds(clips); }
  UIColor backgroundColor() const { return _layer.model().backgroundColor; }
  void setBackgroundColor(UIColor color) { _layer.setBackgroundColor(color); }
  CALayer& layer() { return _layer; }
  const CALayer& layer() const { return _layer; }
  /// If true, the background also covers the area around the stage in the host's window, and the view gets touches
  /// there.
  bool fillsSurroundings() const { return _fillsSurroundings; }
  void setFillsSurroundings(bool fills);
  /// If true, the frame becomes the superview's bounds whenever their size changes.
  void setFillsSuperview(bool fills) { _fillsSuperview = fills; }

  // The tree. A subview has one superview; adding it to another moves it.
  const std::vector<std::shared_ptr<UIView>>& subviews() const { return _subviews; }
  std::shared_ptr<UIView> superview() const { return _superview.lock(); }
  /// The window at the root of the tree; nullptr for a detached tree.
  virtual UIWindow* window() const;
  void addSubview(const std::shared_ptr<UIView>& view);
  void insertSubview(const std::shared_ptr<UIView>& view, std::size_t index);
  /// Also cancels the touches of the whole subtree and ends its animations, which count as not finished.
  void removeFromSuperview();
  void bringSubviewToFront(const std::shared_ptr<UIView>& view);
  /// Called after the view was added to a window's tree, or removed from it.
  virtual void didMoveToWindow() {}
  /// Called after the size of the superview's bounds has changed.
  virtual void superviewDidResize() {}

  // Painting. A view's content is recorded once and kept until setNeedsDisplay() is called or the view's size changes.
  void setNeedsDisplay();
  /// Calls setNeedsDisplay() for the whole subtree, which is necessary after a change of the screen's density.
  void setNeedsDisplayInSubtree();
  /// The recorded content, created if needed; nullptr if the view has only its background.
  const std::shared_ptr<LayerContent>& content();
  /// The rectangle into which the content is painted; by default the whole bounds.
  virtual CGRect contentRect(CGRect bounds) const { return bounds; }

  // Touches.
  bool isUserInteractionEnabled() const { return _userInteractionEnabled; }
  void setUserInteractionEnabled(bool enabled) { _userInteractionEnabled = enabled; }
  /// The front-most view that gets a touch at the point, which is in this view's coordinates. A view is left out
  /// together with its subviews if the point is outside, or if it is hidden, has an alpha below 0.01, has interaction
  /// disabled, or is animated (unless the animation lets touches through). Subviews are searched from front to back,
  /// then the view itself. nullptr if there is no such view.
  virtual std::shared_ptr<UIView> hitTest(CGPoint point);
  virtual bool pointInside(CGPoint point) const;
  virtual void touchesBegan(UITouch& touch);
  virtual void touchesMoved(UITouch& touch);
  virtual void touchesEnded(UITouch& touch);
  virtual void touchesCancelled(UITouch& touch);
  /// Called for the superviews of the touched view while the touch moves. If it returns true, this view takes over the
  /// touch: the touch is cancelled for the former view and begins again in this one.
  virtual bool takesOver(const UITouch&) const { return false; }
  /// Called when a wheel or touchpad scrolls over the view, with the distances in points. Returns whether the view
  /// scrolled.
  virtual bool scrollBy(double, double) { return false; }
  /// Called when the fingers leave the touchpad, with the remaining velocity in points per second. Returns whether the
  /// view continues the motion.
  virtual bool flingBy(double, double) { return false; }
  /// Whether a press on the view has an effect: then the pointer becomes a hand over it. By default true for views that
  /// the keyboard can press.
  virtual bool isPressable() const;
  /// The pointer has entered or left the view. Not called for fingers.
  virtual void hoverChanged(bool) {}
  void addGestureRecognizer(std::shared_ptr<UIGestureRecognizer> recognizer);
  const std::vector<std::shared_ptr<UIGestureRecognizer>>& gestureRecognizers() const { return _recognizers; }

  // Accessibility and keyboard.
  bool isAccessibilityElement() const { return _isAccessibilityElement; }
  void setIsAccessibilityElement(bool is);
  /// The spoken name; by default the text or title of the view.
  virtual std::string accessibilityLabel() const { return _accessibilityLabel.value_or(""); }
  void setAccessibilityLabel(std::optional<std::string> label);
  virtual UIAccessibilityTraits accessibilityTraits() const { return _accessibilityTraits; }
  void setAccessibilityTraits(UIAccessibilityTraits traits);
  /// True for a dialog: until it closes, the keyboard and assistive technology reach nothing behind it.
  bool accessibilityViewIsModal() const { return _accessibilityViewIsModal; }
  void setAccessibilityViewIsModal(bool modal);
  /// Does what a tap does; false if a tap has no effect.
  virtual bool accessibilityActivate();
  /// Closes a dialog without a choice; false if that is not possible.
  virtual bool accessibilityPerformEscape() { return false; }
  /// Goes one step back in a dialog with pages. Returns whether that had an effect.
  virtual bool accessibilityPerformBack() { return false; }

  // Animation.
  /// Runs `animations` immediately. If that function changes animatable properties of views in a window, the properties
  /// move to their new values over `duration` seconds, easing in and out. The completion is called exactly once, on the
  /// main queue, after the animation has ended: with true if it ran to its end, with false if it was replaced or
  /// removed, or the view left its window. If nothing is animated, the completion is called soon, with true. Calls can
  /// be nested.
  static void animateWithDuration(double duration, const std::function<void()>& animations,
                                  std::function<void(bool finished)> completion = nullptr);

 protected:
  /// Returns a recording of what the view shows at the given size; nullptr if it shows nothing.
  virtual std::shared_ptr<LayerContent> makeContent([[maybe_unused]] CGSize size) { return nullptr; }
  /// Requests a new frame of the view's window; has no effect outside a window.
  void setNeedsFrame();
  const std::optional<std::string>& ownAccessibilityLabel() const { return _accessibilityLabel; }

 private:
  friend class CALayer;
  friend class UIWindow;
  bool isInside(const UIView& ancestor) const;
  bool takesTouches() const;
  bool coversSurroundings() const;
  /// Whether this view or a subview is animated at the point. Such a view ignores touches, and the host's widgets below
  /// it must not get them either.
  bool isInMotionAt(CGPoint point) const;
  /// The subviews from back to front: by z position; in the order of subviews() if that is equal.
  std::vector<std::shared_ptr<UIView>> subviewsInDepthOrder() const;
  /// The front-most view that takes touches around the stage.
  std::shared_ptr<UIView> hitSurroundings();
  CGPoint convertPointToSuperview(CGPoint point) const;
  CGPoint convertPointFromSuperview(CGPoint point) const;
  void resizeFillingSubviews();
  void removeAnimationsInSubtree();
  void notifyMovedToWindow(bool entered);

  CALayer _layer{*this};
  std::weak_ptr<UIView> _superview;
  std::vector<std::shared_ptr<UIView>> _subviews;
  std::vector<std::shared_ptr<UIGestureRecognizer>> _recognizers;
  std::shared_ptr<LayerContent> _content;
  CGSize _contentSize;
  bool _contentValid = false;
  bool _userInteractionEnabled = true;
  bool _fillsSurroundings = false;
  bool _fillsSuperview = false;
  bool _isAccessibilityElement = false;
  bool _accessibilityViewIsModal = false;
  UIAccessibilityTraits _accessibilityTraits = UIAccessibilityTraitNone;
  std::optional<std::string> _accessibilityLabel;
};

}  // namespace oq
