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

/// A rectangle on screen that paints itself, holds subviews and takes touches. Made with makeMainObject() (or
/// std::make_shared in a test on the main thread), since subviews can be added only after construction; a superview
/// owns its subviews and is known to them weakly. Main thread only.
class OQSDK_EXPORT UIView : public Object, public std::enable_shared_from_this<UIView> {
  OQ_CLASS(UIView)

 public:
  UIView();
  explicit UIView(CGRect frame);
  ~UIView() override;

  // Geometry: position, bounds and centre are the truth, the frame is derived.
  CGRect frame() const { return _layer.model().frame(); }
  void setFrame(CGRect frame);
  CGRect bounds() const { return _layer.model().bounds; }
  void setBounds(CGRect bounds) { _layer.setBounds(bounds); }
  CGPoint center() const { return _layer.model().position; }
  void setCenter(CGPoint centre) { _layer.setPosition(centre); }
  CGPoint convertPointToWindow(CGPoint point) const;
  CGPoint convertPointFromWindow(CGPoint point) const;

  // Looks.
  double alpha() const { return _layer.model().opacity; }
  void setAlpha(double alpha) { _layer.setOpacity(alpha); }
  bool isHidden() const { return _layer.model().hidden; }
  void setHidden(bool hidden) { _layer.setHidden(hidden); }
  bool clipsToBounds() const { return _layer.model().masksToBounds; }
  void setClipsToBounds(bool clips) { _layer.setMasksToBounds(clips); }
  UIColor backgroundColor() const { return _layer.model().backgroundColor; }
  void setBackgroundColor(UIColor colour) { _layer.setBackgroundColor(colour); }
  CALayer& layer() { return _layer; }
  const CALayer& layer() const { return _layer; }
  /// The background also covers what the host shows outside the stage, and takes the touches there.
  bool fillsSurroundings() const { return _fillsSurroundings; }
  void setFillsSurroundings(bool fills);
  /// The frame follows the superview's bounds whenever their size changes.
  void setFillsSuperview(bool fills) { _fillsSuperview = fills; }

  // The tree. A subview has one superview; adding it elsewhere moves it.
  const std::vector<std::shared_ptr<UIView>>& subviews() const { return _subviews; }
  std::shared_ptr<UIView> superview() const { return _superview.lock(); }
  /// The window at the root of the tree, nullptr for a detached tree.
  virtual UIWindow* window() const;
  void addSubview(const std::shared_ptr<UIView>& view);
  void insertSubview(const std::shared_ptr<UIView>& view, std::size_t index);
  /// Ends the touches and completes (as not finished) the animations of the whole subtree.
  void removeFromSuperview();
  void bringSubviewToFront(const std::shared_ptr<UIView>& view);
  /// Called after the view has come into a window's tree, or has left it.
  virtual void didMoveToWindow() {}
  /// Called after the superview's bounds have taken another size.
  virtual void superviewDidResize() {}

  // Painting. A view's content is recorded once and kept until setNeedsDisplay().
  void setNeedsDisplay();
  /// The same for everything in the view as well: the screen has another density.
  void setNeedsDisplayInSubtree();
  /// The recorded content, made when needed; nullptr when the view has none beyond its background.
  const std::shared_ptr<LayerContent>& content();
  /// Where the content goes when it is painted, for the bounds at that moment; by default all of them.
  virtual CGRect contentRect(CGRect bounds) const { return bounds; }

  // Touches.
  bool isUserInteractionEnabled() const { return _userInteractionEnabled; }
  void setUserInteractionEnabled(bool enabled) { _userInteractionEnabled = enabled; }
  /// The front-most view at a point in this view's coordinates: not hidden, interaction on, alpha at least 0.01, point
  /// inside, not being animated; children last to first, then the view itself. nullptr when there is none.
  virtual std::shared_ptr<UIView> hitTest(CGPoint point);
  virtual bool pointInside(CGPoint point) const;
  virtual void touchesBegan(UITouch& touch);
  virtual void touchesMoved(UITouch& touch);
  virtual void touchesEnded(UITouch& touch);
  virtual void touchesCancelled(UITouch& touch);
  /// Asked of the views above the touched one while the touch moves; true takes the touch over: it is cancelled for the
  /// view that had it and begins anew in this one.
  virtual bool takesOver(const UITouch&) const { return false; }
  /// A wheel or touchpad over the view, in points; true when it was used.
  virtual bool scrollBy(double, double) { return false; }
  /// What is left of a scrolling movement when the fingers leave the touchpad, in points a second; true when it was
  /// used.
  virtual bool flingBy(double, double) { return false; }
  /// A press on the view does something: the pointer is a hand over it. By default so for what the keyboard can press.
  virtual bool isPressable() const;
  /// The pointer has come over the view, or has left it. A finger is not a pointer.
  virtual void hoverChanged(bool) {}
  void addGestureRecognizer(std::shared_ptr<UIGestureRecognizer> recognizer);
  const std::vector<std::shared_ptr<UIGestureRecognizer>>& gestureRecognizers() const { return _recognizers; }

  // What assistive technology and the keyboard find.
  bool isAccessibilityElement() const { return _isAccessibilityElement; }
  void setIsAccessibilityElement(bool is);
  /// The name that is spoken; text and titles speak for themselves until a name is set.
  virtual std::string accessibilityLabel() const { return _accessibilityLabel.value_or(""); }
  void setAccessibilityLabel(std::optional<std::string> label);
  virtual UIAccessibilityTraits accessibilityTraits() const { return _accessibilityTraits; }
  void setAccessibilityTraits(UIAccessibilityTraits traits);
  /// A dialog: what lies behind it is out of reach until it goes.
  bool accessibilityViewIsModal() const { return _accessibilityViewIsModal; }
  void setAccessibilityViewIsModal(bool modal);
  /// Does what a tap does; false when that is nothing.
  virtual bool accessibilityActivate();
  /// Leaves a dialog without a choice; false when it has no such way out.
  virtual bool accessibilityPerformEscape() { return false; }
  /// One step back, of a dialog that has pages. Returns whether anything was done.
  virtual bool accessibilityPerformBack() { return false; }

  // Animation.
  /// Runs `animations` at once; what it changes in animatable properties of views in a window moves there over
  /// `duration` seconds, easing in and out. The completion is called exactly once, on the main queue, after the
  /// animation has been taken off: true when it ran to its end, false when it was replaced, removed or detached.
  /// Without anything to animate it is called from the main queue soon after. Calls nest.
  static void animateWithDuration(double duration, const std::function<void()>& animations,
                                  std::function<void(bool finished)> completion = nullptr);

 protected:
  /// Records what the view shows inside `size`; an empty content when there is nothing.
  virtual std::shared_ptr<LayerContent> makeContent(CGSize) { return nullptr; }
  /// Asks the window for a frame.
  void setNeedsFrame();
  const std::optional<std::string>& ownAccessibilityLabel() const { return _accessibilityLabel; }

 private:
  friend class CALayer;
  friend class UIWindow;
  bool isInside(const UIView& ancestor) const;
  bool takesTouches() const;
  bool coversSurroundings() const;
  /// Whether a view in motion lies there: it takes no touch, and what lies below it gets none either.
  bool isInMotionAt(CGPoint point) const;
  /// Back to front: by z position, then in order.
  std::vector<std::shared_ptr<UIView>> subviewsInDepthOrder() const;
  /// The front-most view that takes the touches beside the stage.
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
