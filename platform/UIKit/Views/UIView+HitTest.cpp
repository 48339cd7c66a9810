// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "UIKit/Views/UIView.h"

namespace oq {

void UIView::touchesBegan(UITouch&) {}
void UIView::touchesMoved(UITouch&) {}
void UIView::touchesEnded(UITouch&) {}
void UIView::touchesCancelled(UITouch&) {}

bool UIView::pointInside(CGPoint point) const {
  return bounds().contains(point);
}

bool UIView::takesTouches() const {
  return _userInteractionEnabled && !isHidden() && alpha() >= 0.01 && !_layer.isInMotion();
}

std::vector<std::shared_ptr<UIView>> UIView::subviewsInDepthOrder() const {
  auto ordered = _subviews;
  std::stable_sort(ordered.begin(), ordered.end(), [](const auto& below, const auto& above) {
    return below->layer().model().zPosition < above->layer().model().zPosition;
  });
  return ordered;
}

std::shared_ptr<UIView> UIView::hitTest(CGPoint point) {
  if (!takesTouches() || !pointInside(point)) return nullptr;
  const auto children = subviewsInDepthOrder();
  for (auto child = children.rbegin(); child != children.rend(); ++child) {
    if (auto hit = (*child)->hitTest((*child)->convertPointFromSuperview(point))) return hit;
  }
  return shared_from_this();
}

/// True also if only a subview fills the area around the stage. While that subview is animated, it ignores touches, and
/// this view gets the touches in that area instead, as it does on the stage.
bool UIView::coversSurroundings() const {
  return _fillsSurroundings || std::any_of(_subviews.begin(), _subviews.end(), [](const auto& child) {
           return child->_fillsSurroundings && child->_userInteractionEnabled && !child->isHidden();
         });
}

bool UIView::isInMotionAt(CGPoint point) const {
  if (!_userInteractionEnabled || isHidden()) return false;
  if (!pointInside(point) && !coversSurroundings()) return false;
  if (_layer.isInMotion()) return true;
  return std::any_of(_subviews.begin(), _subviews.end(),
                     [&](const auto& child) { return child->isInMotionAt(child->convertPointFromSuperview(point)); });
}

std::shared_ptr<UIView> UIView::hitSurroundings() {
  if (!takesTouches()) return nullptr;
  const auto children = subviewsInDepthOrder();
  for (auto child = children.rbegin(); child != children.rend(); ++child) {
    if (auto hit = (*child)->hitSurroundings()) return hit;
  }
  return coversSurroundings() ? shared_from_this() : nullptr;
}

}  // namespace oq
