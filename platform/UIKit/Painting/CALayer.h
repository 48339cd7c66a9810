// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "CoreGraphics/Color.h"
#include "CoreGraphics/Geometry.h"

namespace oq {

class UIView;
struct AnimationGroup;

/// The state of a layer as a plain value. This state, the running animations and the time determine completely what is
/// painted.
struct LayerState {
  CGPoint position;  ///< the centre of the bounds, in the parent's coordinates
  CGRect bounds;     ///< a non-zero origin scrolls the contents
  double opacity = 1;
  double cornerRadius = 0;
  double zPosition = 0;
  UIColor backgroundColor = UIColor::clearColor();
  bool hidden = false;
  bool masksToBounds = false;
  UIColor shadowColor = UIColor::blackColor();
  CGSize shadowOffset{0, -3};
  double shadowOpacity = 0;
  double shadowRadius = 3;

  CGRect frame() const {
    return {{position.x - bounds.size.width / 2, position.y - bounds.size.height / 2}, bounds.size};
  }
};

/// The visual part of a view. A setter ignores a value that is equal to the current one or not finite. Otherwise it
/// writes the model and requests a frame from the window. If the setter of an animatable property is called inside
/// UIView::animateWithDuration(), the property is also animated from the value on screen to the new value. Outside such
/// a block, a running animation of the property is stopped, and the new value is shown immediately. Main thread only.
class CALayer {
 public:
  explicit CALayer(UIView& owner) : _owner(owner) {}
  CALayer(const CALayer&) = delete;
  CALayer& operator=(const CALayer&) = delete;

  const LayerState& model() const { return _model; }
  /// The values shown on screen at the time `now`.
  LayerState presentation(double now) const;
  bool isAnimating() const { return !_animations.empty(); }
  /// Whether an animation runs during which the layer ignores touches.
  bool isInMotion() const;
  /// Ends all animations; they count as not finished. The screen then shows the model values.
  void removeAllAnimations();

  /// Sets the position and the size of the bounds. Does not change the origin of the bounds.
  void setFrame(CGRect frame);
  void setPosition(CGPoint position);
  void setBounds(CGRect bounds);
  void setOpacity(double opacity);
  void setCornerRadius(double radius);
  void setBackgroundColor(UIColor color);
  void setShadowOpacity(double opacity);
  void setZPosition(double z);
  void setHidden(bool hidden);
  void setMasksToBounds(bool masks);
  void setShadowColor(UIColor color);
  void setShadowOffset(CGSize offset);
  void setShadowRadius(double radius);

 private:
  friend class UIView;
  friend class AnimationEngine;
  enum class Property { Position, Bounds, Opacity, CornerRadius, BackgroundColor, ShadowOpacity, ZPosition };
  struct Running {
    Property property;
    LayerState from;  ///< only the member of the animated property is used
    std::shared_ptr<AnimationGroup> group;
  };

  template <class T>
  void change(Property property, T LayerState::*member, T value);
  template <class T>
  void set(T LayerState::*member, T value);
  void startAnimation(Property property, const std::shared_ptr<AnimationGroup>& group);
  /// Stops the animation of the property, which then counts as not finished. Returns whether there was one.
  bool stopAnimation(Property property);
  void takeOffEnded(double now);
  double nextEnd() const;

  UIView& _owner;
  LayerState _model;
  std::vector<Running> _animations;
};

}  // namespace oq
