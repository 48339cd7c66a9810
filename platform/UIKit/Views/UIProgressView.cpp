// SPDX-License-Identifier: Apache-2.0
#include "UIKit/Views/UIProgressView.h"

#include <cairo.h>

#include <algorithm>
#include <cmath>

namespace oq {

namespace {
constexpr UIColor kTrack{0, 0, 0, 0.08};

void fill(cairo_t* cr, UIColor color, double width, double height) {
  cairo_set_source_rgba(cr, color.red, color.green, color.blue, color.alpha);
  cairo_rectangle(cr, 0, 0, width, height);
  cairo_fill(cr);
}
}  // namespace

Class* UIProgressView::staticClass() {
  static Class* registered = registerClass("UIProgressView", UIView::staticClass());
  return registered;
}

UIProgressView::UIProgressView(CGRect frame) : UIView(frame) {
  setUserInteractionEnabled(false);
}

void UIProgressView::setProgress(float progress) {
  if (std::isnan(progress)) return;
  progress = std::clamp(progress, 0.0f, 1.0f);
  if (progress == _progress) return;
  _progress = progress;
  setNeedsDisplay();
}

void UIProgressView::setTintColor(UIColor color) {
  _tint = color;
  setNeedsDisplay();
}

std::shared_ptr<LayerContent> UIProgressView::makeContent(CGSize size) {
  return std::make_shared<LayerContent>(size, [size, tint = _tint, progress = _progress](cairo_t* cr) {
    fill(cr, kTrack, size.width, size.height);
    fill(cr, tint, size.width * static_cast<double>(progress), size.height);
  });
}

}  // namespace oq
