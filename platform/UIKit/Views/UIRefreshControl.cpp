// SPDX-License-Identifier: Apache-2.0
#include "UIKit/Views/UIRefreshControl.h"

#include <cairo.h>

#include <numbers>

namespace oq {

namespace {
constexpr double kSide = 36, kGap = 12;
}

Class* UIRefreshControl::staticClass() {
  static Class* registered = registerClass("UIRefreshControl", UIControl::staticClass());
  return registered;
}

UIRefreshControl::UIRefreshControl() {
  setUserInteractionEnabled(false);
}

void UIRefreshControl::pulledDownOver(UIView& scrolled) {
  if (_refreshing) return;
  beginRefreshing();
  const double x = (scrolled.bounds().size.width - kSide) / 2;
  setFrame(CGRectMake(x, kGap, kSide, kSide));
  scrolled.addSubview(shared_from_this());
  sendActionsForControlEvents(UIControlEventValueChanged);
}

void UIRefreshControl::endRefreshing() {
  _refreshing = false;
  removeFromSuperview();
}

/// An open ring on a light disc.
std::shared_ptr<LayerContent> UIRefreshControl::makeContent(CGSize size) {
  return std::make_shared<LayerContent>(size, [size](cairo_t* cr) {
    const double x = size.width / 2, y = size.height / 2;
    cairo_arc(cr, x, y, x - 1, 0, 2 * std::numbers::pi);
    cairo_set_source_rgba(cr, 1, 1, 1, 0.95);
    cairo_fill_preserve(cr);
    cairo_set_source_rgba(cr, 0, 0, 0, 0.15);
    cairo_set_line_width(cr, 1);
    cairo_stroke(cr);
    cairo_arc(cr, x, y, x - 11, 0, 1.5 * std::numbers::pi);
    cairo_set_source_rgba(cr, 0.3, 0.33, 0.38, 1);
    cairo_set_line_width(cr, 2.5);
    cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
    cairo_stroke(cr);
  });
}

}  // namespace oq
