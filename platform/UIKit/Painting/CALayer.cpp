// SPDX-License-Identifier: Apache-2.0
#include "UIKit/Painting/CALayer.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "UIKit/Views/Animation.h"
#include "UIKit/Views/UIView.h"
#include "UIKit/Windows/UIApplication.h"

namespace oq {

namespace {

bool isFinite(bool) {
  return true;
}
bool isFinite(double value) {
  return std::isfinite(value);
}
bool isFinite(CGPoint point) {
  return isFinite(point.x) && isFinite(point.y);
}
bool isFinite(CGSize size) {
  return isFinite(size.width) && isFinite(size.height);
}
bool isFinite(CGRect rect) {
  return isFinite(rect.origin) && isFinite(rect.size);
}
bool isFinite(UIColor color) {
  return isFinite(color.red) && isFinite(color.green) && isFinite(color.blue) && isFinite(color.alpha);
}

double mix(double from, double to, double t) {
  return from + (to - from) * t;
}
CGPoint mix(CGPoint from, CGPoint to, double t) {
  return {mix(from.x, to.x, t), mix(from.y, to.y, t)};
}
CGRect mix(CGRect from, CGRect to, double t) {
  return {mix(from.origin, to.origin, t),
          {mix(from.size.width, to.size.width, t), mix(from.size.height, to.size.height, t)}};
}
/// If one of the colours is fully transparent, its red, green and blue have no meaning. Those of the other colour are
/// used, so that only the alpha changes.
UIColor mix(UIColor from, UIColor to, double t) {
  if (from.alpha == 0) from = to.withAlphaComponent(0);
  if (to.alpha == 0) to = from.withAlphaComponent(0);
  return {mix(from.red, to.red, t), mix(from.green, to.green, t), mix(from.blue, to.blue, t),
          mix(from.alpha, to.alpha, t)};
}

template <class T>
void mixMember(LayerState& state, const LayerState& from, T LayerState::*member, double t) {
  if (t < 1) state.*member = mix(from.*member, state.*member, t);
}

}  // namespace

bool CALayer::isInMotion() const {
  return std::any_of(_animations.begin(), _animations.end(),
                     [](const Running& running) { return !running.group->timing.letsTouchesThrough; });
}

LayerState CALayer::presentation(double now) const {
  LayerState state = _model;
  for (const Running& running : _animations) {
    const double t = running.group->progress(now);
    switch (running.property) {
      case Property::Position:
        mixMember(state, running.from, &LayerState::position, t);
        break;
      case Property::Bounds:
        mixMember(state, running.from, &LayerState::bounds, t);
        break;
      case Property::Opacity:
        mixMember(state, running.from, &LayerState::opacity, t);
        break;
      case Property::CornerRadius:
        mixMember(state, running.from, &LayerState::cornerRadius, t);
        break;
      case Property::BackgroundColor:
        mixMember(state, running.from, &LayerState::backgroundColor, t);
        break;
      case Property::ShadowOpacity:
        mixMember(state, running.from, &LayerState::shadowOpacity, t);
        break;
      case Property::ZPosition:
        mixMember(state, running.from, &LayerState::zPosition, t);
        break;
    }
  }
  return state;
}

template <class T>
void CALayer::change(Property property, T LayerState::*member, T value) {
  if (_model.*member == value || !isFinite(value)) return;
  const auto group = AnimationEngine::shared().current();
  if (group && group->hasMotion() && _owner.window()) {
    startAnimation(property, group);
  } else if (stopAnimation(property)) {
    UIApplication::sharedApplication().animationsChanged();
  }
  _model.*member = value;
  _owner.setNeedsFrame();
}

template <class T>
void CALayer::set(T LayerState::*member, T value) {
  if (_model.*member == value || !isFinite(value)) return;
  _model.*member = value;
  _owner.setNeedsFrame();
}

void CALayer::startAnimation(Property property, const std::shared_ptr<AnimationGroup>& group) {
  for (const Running& running : _animations) {
    if (running.property == property && running.group == group) return;
  }
  const LayerState shown = presentation(UIApplication::sharedApplication().now());
  stopAnimation(property);
  _animations.push_back({property, shown, group});
  ++group->running;
  AnimationEngine::shared().track(_owner);
}

bool CALayer::stopAnimation(Property property) {
  const auto found = std::find_if(_animations.begin(), _animations.end(),
                                  [&](const Running& running) { return running.property == property; });
  if (found == _animations.end()) return false;
  const auto group = found->group;
  _animations.erase(found);
  if (_animations.empty()) AnimationEngine::shared().forget(_owner);
  AnimationEngine::shared().propertyEnded(group, false);
  return true;
}

void CALayer::removeAllAnimations() {
  if (_animations.empty()) return;
  while (!_animations.empty()) stopAnimation(_animations.front().property);
  UIApplication::sharedApplication().animationsChanged();
}

void CALayer::takeOffEnded(double now) {
  std::erase_if(_animations, [now](const Running& running) {
    if (!running.group->hasEndedBy(now)) return false;
    AnimationEngine::shared().propertyEnded(running.group, true);
    return true;
  });
}

double CALayer::nextEnd() const {
  double next = std::numeric_limits<double>::infinity();
  for (const Running& running : _animations) {
    next = std::min(next, running.group->end());
  }
  return next;
}

void CALayer::setFrame(CGRect frame) {
  if (!isFinite(frame)) return;
  setPosition(frame.center());
  setBounds({_model.bounds.origin, frame.size});
}

void CALayer::setBounds(CGRect bounds) {
  const CGSize before = _model.bounds.size;
  change(Property::Bounds, &LayerState::bounds, bounds);
  if (_model.bounds.size != before) _owner.resizeFillingSubviews();
}

void CALayer::setPosition(CGPoint position) {
  change(Property::Position, &LayerState::position, position);
}
void CALayer::setOpacity(double opacity) {
  change(Property::Opacity, &LayerState::opacity, opacity);
}
void CALayer::setCornerRadius(double radius) {
  change(Property::CornerRadius, &LayerState::cornerRadius, radius);
}
void CALayer::setBackgroundColor(UIColor color) {
  change(Property::BackgroundColor, &LayerState::backgroundColor, color);
}
void CALayer::setShadowOpacity(double opacity) {
  change(Property::ShadowOpacity, &LayerState::shadowOpacity, opacity);
}
void CALayer::setZPosition(double z) {
  change(Property::ZPosition, &LayerState::zPosition, z);
}
void CALayer::setHidden(bool hidden) {
  set(&LayerState::hidden, hidden);
}
void CALayer::setMasksToBounds(bool masks) {
  set(&LayerState::masksToBounds, masks);
}
void CALayer::setShadowColor(UIColor color) {
  set(&LayerState::shadowColor, color);
}
void CALayer::setShadowOffset(CGSize offset) {
  set(&LayerState::shadowOffset, offset);
}
void CALayer::setShadowRadius(double radius) {
  set(&LayerState::shadowRadius, radius);
}

}  // namespace oq
