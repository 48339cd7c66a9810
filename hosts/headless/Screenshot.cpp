#include "headless/Screenshot.h"

#include <algorithm>
#include <cmath>

#include "UIKit/CairoPainter.h"
#include "UIKit/UIWindow.h"

namespace oq {

namespace {
struct ContextRelease {
  void operator()(cairo_t* cr) const { cairo_destroy(cr); }
};

int pixels(double points, double scale) {
  return std::max(1, static_cast<int>(std::ceil(points * scale)));
}
}  // namespace

Surface takeScreenshot(UIWindow& window, CGSize size, CGRect stage, double scale, double now) {
  Surface surface(
      cairo_image_surface_create(CAIRO_FORMAT_ARGB32, pixels(size.width, scale), pixels(size.height, scale)));
  const std::unique_ptr<cairo_t, ContextRelease> cr(cairo_create(surface.get()));
  cairo_set_source_rgb(cr.get(), 1, 1, 1);
  cairo_paint(cr.get());
  cairo_scale(cr.get(), scale, scale);
  CairoPainter painter(cr.get(), scale);
  if (stage.size.width < size.width) {
    UIColor colour = surroundingsColor(window, now);
    painter.fill(CGRectMake(0, 0, stage.minX(), size.height), 0, colour);
    painter.fill(CGRectMake(stage.maxX(), 0, size.width - stage.maxX(), size.height), 0, colour);
  }
  painter.pushTranslation(stage.minX(), stage.minY());
  painter.pushClip({{}, stage.size}, 0);
  paintWindow(window, painter, now);
  painter.pop();
  painter.pop();
  cairo_surface_flush(surface.get());
  return surface;
}

}  // namespace oq
