// SPDX-License-Identifier: Apache-2.0
#include "UIKit/Views/UIView.h"

#include <algorithm>
#include <limits>

#include "UIKit/Input/UIGestureRecognizer.h"
#include "UIKit/Windows/UIApplication.h"
#include "UIKit/Windows/UIWindow.h"

namespace oq {

Class* UIView::staticClass() {
  static Class* registered = registerClass("UIView", Object::staticClass());
  return registered;
}

UIView::UIView() = default;
UIView::UIView(CGRect frame) {
  setFrame(frame);
}
UIView::~UIView() {
  _layer.removeAllAnimations();
}

void UIView::setFrame(CGRect frame) {
  _layer.setFrame(frame);
}

CGPoint UIView::convertPointToSuperview(CGPoint point) const {
  const CGPoint inner = bounds().origin, outer = frame().origin;
  return {point.x - inner.x + outer.x, point.y - inner.y + outer.y};
}

CGPoint UIView::convertPointFromSuperview(CGPoint point) const {
  const CGPoint inner = bounds().origin, outer = frame().origin;
  return {point.x - outer.x + inner.x, point.y - outer.y + inner.y};
}

// The root view's coordinates are the window's. The root view's frame is not applied, because the host positions this
// view.
CGPoint UIView::convertPointToWindow(CGPoint point) const {
  const auto parent = superview();
  return parent ? parent->convertPointToWindow(convertPointToSuperview(point)) : point;
}

CGPoint UIView::convertPointFromWindow(CGPoint point) const {
  const auto parent = superview();
  return parent ? convertPointFromSuperview(parent->convertPointFromWindow(point)) : point;
}

void UIView::setFillsSurroundings(bool fills) {
  if (_fillsSurroundings == fills) return;
  _fillsSurroundings = fills;
  setNeedsFrame();
}

void UIView::resizeFillingSubviews() {
  const auto children = _subviews;
  for (const auto& view : children) {
    if (view->_fillsSuperview) view->setFrame(bounds());
    view->superviewDidResize();
  }
}

UIWindow* UIView::window() const {
  const auto parent = superview();
  return parent ? parent->window() : nullptr;
}

bool UIView::isInside(const UIView& ancestor) const {
  if (this == &ancestor) return true;
  const auto parent = superview();
  return parent && parent->isInside(ancestor);
}

void UIView::addSubview(const std::shared_ptr<UIView>& view) {
  insertSubview(view, std::numeric_limits<std::size_t>::max());
}

void UIView::bringSubviewToFront(const std::shared_ptr<UIView>& view) {
  if (view && view->superview().get() == this) addSubview(view);
}

void UIView::insertSubview(const std::shared_ptr<UIView>& view, std::size_t index) {
  if (!view || isInside(*view)) return;
  const auto self = shared_from_this();
  const auto added = view;  // the parameter may be an element of the list that changes below
  const bool isReordered = added->superview() == self;
  if (!isReordered) {
    added->removeFromSuperview();
    // Callbacks of the removal may have moved either of the two views.
    if (added->superview() || isInside(*added)) return;
  }
  std::erase(_subviews, added);
  index = std::min(index, _subviews.size());
  _subviews.insert(_subviews.begin() + static_cast<std::ptrdiff_t>(index), added);
  setNeedsFrame();
  if (isReordered) return;
  added->_superview = self;
  if (window()) added->notifyMovedToWindow(true);
}

void UIView::removeFromSuperview() {
  const auto parent = superview();
  if (!parent) return;
  const auto self = shared_from_this();
  UIWindow* root = window();
  const auto keepsRoot = root ? root->shared_from_this() : nullptr;

  removeAnimationsInSubtree();
  _superview.reset();
  std::erase(parent->_subviews, self);
  if (!root) return;
  parent->setNeedsFrame();
  root->cancelTouchesIn(*this);
  notifyMovedToWindow(false);
}

/// If an earlier callback moved this view again, it has already been notified.
void UIView::notifyMovedToWindow(bool entered) {
  if ((window() != nullptr) != entered) return;
  didMoveToWindow();
  const auto children = _subviews;
  for (const auto& child : children) child->notifyMovedToWindow(entered);
}

void UIView::setNeedsFrame() {
  if (UIWindow* root = window()) UIApplication::sharedApplication().windowNeedsFrame(*root);
}

void UIView::setNeedsDisplay() {
  _contentValid = false;
  setNeedsFrame();
}

void UIView::setNeedsDisplayInSubtree() {
  setNeedsDisplay();
  for (const auto& child : _subviews) child->setNeedsDisplayInSubtree();
}

const std::shared_ptr<LayerContent>& UIView::content() {
  const CGSize size = bounds().size;
  // An empty view keeps its content, because it may still be shrinking on screen.
  if (bounds().isEmpty() || (_contentValid && _contentSize == size)) return _content;
  _content = makeContent(size);
  _contentSize = size;
  _contentValid = true;
  return _content;
}

void UIView::addGestureRecognizer(std::shared_ptr<UIGestureRecognizer> recognizer) {
  if (recognizer) _recognizers.push_back(std::move(recognizer));
}

}  // namespace oq
