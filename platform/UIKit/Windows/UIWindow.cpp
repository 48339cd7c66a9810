// SPDX-License-Identifier: Apache-2.0
#include "UIKit/Windows/UIWindow.h"

#include <algorithm>
#include <vector>

#include "UIKit/Controllers/UIViewController.h"
#include "UIKit/Input/UIGestureRecognizer.h"
#include "UIKit/Windows/UIScreen.h"

namespace oq {

Class* UIWindow::staticClass() {
  static Class* registered = registerClass("UIWindow", UIView::staticClass());
  return registered;
}

UIWindow::UIWindow(CGRect frame) : UIView(frame) {}

UIWindow::~UIWindow() {
  const auto touches = std::move(_touches);
  _touches.clear();
  for (const auto& [identifier, touch] : touches) end(*touch, UITouchPhase::Cancelled);
  const auto children = std::move(_subviews);
  _subviews.clear();
  for (const auto& child : children) {
    child->_superview.reset();
    child->removeAnimationsInSubtree();
    child->notifyMovedToWindow(false);
  }
}

void UIWindow::setRootViewController(std::shared_ptr<UIViewController> controller) {
  if (controller == _rootViewController) return;
  const auto self = shared_from_this();
  const auto previous = std::exchange(_rootViewController, controller);
  if (previous) {
    if (previous->presentedViewController()) previous->dismissViewControllerAnimated(false);
    previous->viewWillDisappear(false);
    previous->view()->removeFromSuperview();
    previous->viewDidDisappear(false);
  }
  // The messages viewWillDisappear and viewDidDisappear may run code that sets another root controller. Then that
  // nested call has already added the right view.
  if (!controller || controller != _rootViewController) return;
  const auto root = controller->view();
  root->setFrame(bounds());
  root->setFillsSuperview(true);
  controller->viewWillAppear(false);
  if (controller != _rootViewController) return;
  insertSubview(root, 0);
  controller->viewDidAppear(false);
}

double UIWindow::contentScale() const {
  return _contentScale > 0 ? _contentScale : UIScreen::mainScreen().scale();
}

void UIWindow::setContentScale(double scale) {
  if (scale == _contentScale) return;
  _contentScale = scale;
  setNeedsDisplayInSubtree();
}

bool UIWindow::isCovered() {
  return frontmostDialog(*this) || hitSurroundings();
}

std::shared_ptr<UIView> UIWindow::hitTest(CGPoint point) {
  auto hit = bounds().contains(point) ? UIView::hitTest(point) : hitSurroundings();
  return hit.get() == this ? nullptr : hit;
}

bool UIWindow::wantsTouchAt(CGPoint point) {
  return hitTest(point) || keepsFromHost(point);
}

bool UIWindow::keepsFromHost(CGPoint point) const {
  return std::any_of(subviews().begin(), subviews().end(),
                     [&](const auto& view) { return view->isInMotionAt(view->convertPointFromSuperview(point)); });
}

bool UIWindow::isActive(int identifier, const TouchPointer& touch) const {
  const auto found = _touches.find(identifier);
  return found != _touches.end() && found->second == touch;
}

bool UIWindow::hasTouchIn(const UIView& view) const {
  return std::any_of(_touches.begin(), _touches.end(),
                     [&](const auto& entry) { return entry.second->view.lock().get() == &view; });
}

bool UIWindow::touchBegan(int identifier, CGPoint point, double timestamp) {
  const auto self = shared_from_this();
  touchCancelled(identifier);
  const auto view = hitTest(point);
  if (!view) return keepsFromHost(point);
  // A view handles one touch at a time. Additional fingers neither reach the host nor press twice.
  if (hasTouchIn(*view)) return true;
  const auto touch = std::make_shared<UITouch>(UITouch{UITouchPhase::Began, point, point, timestamp, view});
  _touches[identifier] = touch;
  deliver(identifier, touch);
  return true;
}

void UIWindow::touchMoved(int identifier, CGPoint point, double timestamp) {
  const auto self = shared_from_this();
  const auto found = _touches.find(identifier);
  if (found == _touches.end()) return;
  const auto touch = found->second;
  touch->phase = UITouchPhase::Moved;
  touch->locationInWindow = point;
  touch->timestamp = timestamp;
  if (!passToTakingView(identifier, touch)) deliver(identifier, touch);
}

void UIWindow::touchEnded(int identifier, CGPoint point, double timestamp) {
  const auto self = shared_from_this();
  const auto entry = _touches.extract(identifier);
  if (entry.empty()) return;
  entry.mapped()->locationInWindow = point;
  entry.mapped()->timestamp = timestamp;
  end(*entry.mapped(), UITouchPhase::Ended);
}

void UIWindow::touchCancelled(int identifier) {
  const auto self = shared_from_this();
  const auto entry = _touches.extract(identifier);
  if (!entry.empty()) end(*entry.mapped(), UITouchPhase::Cancelled);
}

void UIWindow::cancelTouchesIn(UIView& view) {
  std::vector<int> identifiers;
  for (const auto& [identifier, touch] : _touches) {
    const auto touched = touch->view.lock();
    if (touched && touched->isInside(view)) identifiers.push_back(identifier);
  }
  for (int identifier : identifiers) touchCancelled(identifier);
}

/// Delivers a touch that began or moved, first to the recognisers, then to the view. Stops when one of them has ended
/// the touch.
void UIWindow::deliver(int identifier, const TouchPointer& touch) {
  const auto view = touch->view.lock();
  if (!view) return;
  const bool began = touch->phase == UITouchPhase::Began;
  const auto recognizers = view->gestureRecognizers();
  for (const auto& recognizer : recognizers) {
    if (!isActive(identifier, touch)) return;
    began ? recognizer->touchesBegan(*touch, *view) : recognizer->touchesMoved(*touch, *view);
  }
  if (!isActive(identifier, touch)) return;
  began ? view->touchesBegan(*touch) : view->touchesMoved(*touch);
}

/// The caller has removed the touch from the active touches, so that it cannot be ended twice.
void UIWindow::end(UITouch& touch, UITouchPhase phase) {
  const auto view = touch.view.lock();
  if (!view) return;
  touch.phase = phase;
  const auto recognizers = view->gestureRecognizers();
  for (const auto& recognizer : recognizers) {
    if (touch.phase == UITouchPhase::Cancelled) {
      recognizer->touchesCancelled(touch, *view);
    } else if (recognizer->touchesEnded(touch, *view)) {
      touch.phase = UITouchPhase::Cancelled;
    }
  }
  touch.phase == UITouchPhase::Ended ? view->touchesEnded(touch) : view->touchesCancelled(touch);
}

bool UIWindow::passToTakingView(int identifier, const TouchPointer& touch) {
  const auto view = touch->view.lock();
  auto taker = view ? view->superview() : nullptr;
  while (taker && !taker->takesOver(*touch)) taker = taker->superview();
  if (!taker) return false;
  const CGPoint here = touch->locationInWindow;
  const auto taken = std::make_shared<UITouch>(UITouch{UITouchPhase::Began, here, here, touch->timestamp, taker});
  _touches[identifier] = taken;
  end(*touch, UITouchPhase::Cancelled);
  deliver(identifier, taken);
  return true;
}

bool UIWindow::pointerMoved(std::optional<CGPoint> point) {
  auto view = point ? hitTest(*point) : nullptr;
  if (view && !view->isPressable()) view = nullptr;
  const auto before = _hovered.lock();
  _hovered = view;
  if (before && before != view) before->hoverChanged(false);
  if (view) view->hoverChanged(true);
  return view != nullptr;
}

bool UIWindow::scroll(CGPoint point, double dx, double dy) {
  const auto self = shared_from_this();
  for (auto view = hitTest(point); view; view = view->superview()) {
    if (view->scrollBy(dx, dy)) return true;
  }
  return false;
}

bool UIWindow::fling(CGPoint point, double dx, double dy) {
  const auto self = shared_from_this();
  for (auto view = hitTest(point); view; view = view->superview()) {
    if (view->flingBy(dx, dy)) return true;
  }
  return false;
}

}  // namespace oq
