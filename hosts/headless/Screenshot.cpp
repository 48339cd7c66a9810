// SPDX-License-Identifier: Apache-2.0
#include "headless/Screenshot.h"

#include <algorithm>
#include <cmath>

#include "Host/HostSurface.h"
#include "UIKit/Painting/CairoPainter.h"

namespace oq {

namespace {
struct ContextRelease {
  void operator()(cairo_t* cr) const { cairo_destroy(cr); }
};

int pixels(double points, double scale) {
  return std::max(1, static_cast<int>(std::ceil(points * scale)));
}
}  // namespace

Screenshot takeScreenshot(HostSurface& window, CGSize size, double scale, double now) {
  Screenshot surface(
      cairo_image_surface_create(CAIRO_FORMAT_ARGB32, pixels(size.width, scale), pixels(size.height, scale)));
  const std::unique_ptr<cairo_t, ContextRelease> cr(cairo_create(surface.get()));
  cairo_set_source_rgb(cr.get(), 1, 1, 1);
  cairo_paint(cr.get());
  scale *= window.stage().scale;
  cairo_scale(cr.get(), scale, scale);
  CairoPainter painter(cr.get(), scale);
  window.paint(painter, now);
  cairo_surface_flush(surface.get());
  return surface;
}

}  // namespace oq
