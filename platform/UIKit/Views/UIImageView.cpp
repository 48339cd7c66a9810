// SPDX-License-Identifier: Apache-2.0
#include "UIKit/Views/UIImageView.h"

#include <cairo.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "Dispatch/DispatchQueue.h"
#include "UIKit/Windows/UIScreen.h"
#include "UIKit/Windows/UIWindow.h"

namespace oq {
namespace {

constexpr double kLargestSide = 16384;  // pixels
constexpr double kHairline = 1;         // points

CGSize fitted(CGSize image, CGSize room, UIViewContentMode mode) {
  if (mode == UIViewContentMode::ScaleToFill) return room;
  double across = room.width / image.width, down = room.height / image.height;
  double factor = mode == UIViewContentMode::ScaleAspectFit ? std::min(across, down) : std::max(across, down);
  const CGSize size{image.width * factor, image.height * factor};
  // If width and height both differ from the view's by less than a point, the picture fills the view exactly, so that
  // no thin gap remains at an edge.
  const bool isClose = std::abs(size.width - room.width) < kHairline && std::abs(size.height - room.height) < kHairline;
  return isClose ? room : size;
}

/// Rounded up to whole pixels, so that a scaled picture is not scaled again when it is painted.
CGSize inWholePixels(CGSize size, double scale) {
  constexpr double rounding = 1e-6;
  return {std::ceil(size.width * scale - rounding) / scale, std::ceil(size.height * scale - rounding) / scale};
}

}  // namespace

/// A picture scaled to the pixels in which it is shown. Shared only by the view and its content.
struct UIImageView::Pixels {
  Request request;
  CGSize imageSize, size;
  cairo_surface_t* surface = nullptr;

  Pixels() = default;
  Pixels(const Pixels&) = delete;
  Pixels& operator=(const Pixels&) = delete;
  ~Pixels() {
    if (surface) cairo_surface_destroy(surface);
  }
};

Class* UIImageView::staticClass() {
  static Class* registered = registerClass("UIImageView", UIView::staticClass());
  return registered;
}

UIImageView::UIImageView() {
  setUserInteractionEnabled(false);
}

void UIImageView::setImage(std::shared_ptr<const UIImage> image) {
  if (image == _image) return;
  _image = std::move(image);
  if (!_image) {
    // Cleared as well, so that the same picture can be requested again.
    _pixels = nullptr;
    _wanted = {};
    _preparing = false;
  }
  setNeedsDisplay();
}

void UIImageView::setContentMode(UIViewContentMode mode) {
  if (mode == _contentMode) return;
  _contentMode = mode;
  setNeedsDisplay();
}

bool UIImageView::isImageReady() {
  content();
  return !_image || !_preparing;
}

CGRect UIImageView::contentRect(CGRect bounds) const {
  if (!_pixels || bounds.isEmpty()) return bounds;
  CGSize fit = fitted(_pixels->imageSize, bounds.size, _contentMode);
  CGPoint center = bounds.center();
  return {{center.x - fit.width / 2, center.y - fit.height / 2}, inWholePixels(fit, _pixels->request.scale)};
}

double UIImageView::contentScale() const {
  const UIWindow* root = window();
  return root ? root->contentScale() : UIScreen::mainScreen().scale();
}

/// Another window may have another scale.
void UIImageView::didMoveToWindow() {
  if (_image && window() && contentScale() != _wanted.scale) setNeedsDisplay();
}

std::shared_ptr<LayerContent> UIImageView::makeContent(CGSize size) {
  if (!_image) return nullptr;
  Request request{_image, size, _contentMode, contentScale()};
  if (!(request == _wanted)) prepare(request);
  if (!_pixels) return nullptr;
  return std::make_shared<LayerContent>(_pixels->size, [pixels = _pixels](cairo_t* cr) {
    cairo_set_source_surface(cr, pixels->surface, 0, 0);
    cairo_paint(cr);
  });
}

void UIImageView::prepare(const Request& request) {
  _wanted = request;
  _preparing = true;
  auto weak = std::weak_ptr(std::static_pointer_cast<UIImageView>(shared_from_this()));
  // The background block neither uses the view nor keeps it alive.
  DispatchQueue::background().async([request, weak] {
    DispatchQueue::main().async([request, weak, pixels = makePixels(request)] {
      if (auto view = weak.lock()) view->prepared(request, pixels);
    });
  });
}

/// A broken picture leaves the view unchanged.
void UIImageView::prepared(const Request& request, std::shared_ptr<const Pixels> pixels) {
  if (!(request == _wanted)) return;
  _preparing = false;
  if (!pixels || request.image != _image) return;
  _pixels = std::move(pixels);
  setNeedsDisplay();
}

std::shared_ptr<const UIImageView::Pixels> UIImageView::makePixels(const Request& request) {
  CGSize imageSize = request.image->size();
  if (imageSize.width <= 0 || imageSize.height <= 0) return nullptr;
  double scale = request.scale;
  CGSize size = inWholePixels(fitted(imageSize, request.size, request.mode), scale);
  double width = std::round(size.width * scale), height = std::round(size.height * scale);
  if (!(width >= 1 && height >= 1 && width <= kLargestSide && height <= kLargestSide)) return nullptr;
  bool opaque = cairo_surface_get_content(request.image->surface()) == CAIRO_CONTENT_COLOR;
  cairo_surface_t* surface = cairo_image_surface_create(opaque ? CAIRO_FORMAT_RGB24 : CAIRO_FORMAT_ARGB32,
                                                        static_cast<int>(width), static_cast<int>(height));
  auto pixels = std::make_shared<Pixels>();
  pixels->request = request;
  pixels->imageSize = imageSize;
  pixels->size = size;
  pixels->surface = surface;
  if (cairo_surface_status(surface) != CAIRO_STATUS_SUCCESS) return nullptr;
  cairo_t* cr = cairo_create(surface);
  drawImage(cr, *request.image, CGRectMake(0, 0, width, height));
  cairo_destroy(cr);
  cairo_surface_flush(surface);
  cairo_surface_set_device_scale(surface, scale, scale);
  return pixels;
}

}  // namespace oq
