#include "UIKit/UIScrollView.h"

#include <algorithm>
#include <cmath>

namespace oq {

namespace {
constexpr double kTakeOverDistance = 10;
}

Class* UIScrollView::staticClass() {
  static Class* registered = registerClass("UIScrollView", UIView::staticClass());
  return registered;
}

UIScrollView::UIScrollView() {
  setClipsToBounds(true);
}

void UIScrollView::setContentSize(CGSize size) {
  _contentSize = size;
  setContentOffset(contentOffset());
}

void UIScrollView::setContentOffset(CGPoint offset) {
  const CGSize shown = bounds().size;
  const double maximumX = std::max(0.0, _contentSize.width - shown.width);
  const double maximumY = std::max(0.0, _contentSize.height - shown.height);
  setBounds({{std::clamp(offset.x, 0.0, maximumX), std::clamp(offset.y, 0.0, maximumY)}, shown});
}

bool UIScrollView::takesOver(const UITouch& touch) const {
  const double dragged = std::abs(touch.locationInWindow.y - touch.startInWindow.y);
  return dragged > kTakeOverDistance && _contentSize.height > bounds().size.height;
}

// Measured in the window, since the view's own coordinates move with what it scrolls.
void UIScrollView::touchesBegan(UITouch& touch) {
  _dragStart = touch.locationInWindow;
  _offsetAtStart = contentOffset();
}

void UIScrollView::touchesMoved(UITouch& touch) {
  const CGPoint now = touch.locationInWindow;
  setContentOffset({_offsetAtStart.x - (now.x - _dragStart.x), _offsetAtStart.y - (now.y - _dragStart.y)});
}

bool UIScrollView::scrollBy(double dx, double dy) {
  const CGPoint before = contentOffset();
  setContentOffset({before.x + dx, before.y + dy});
  return contentOffset() != before;
}

}  // namespace oq
