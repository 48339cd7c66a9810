// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cairo.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <ostream>

#include "UIKit/Painting/CairoPainter.h"
#include "UIKit/Windows/UIWindow.h"

namespace oq::test {

struct Color {
  int red, green, blue;
  bool operator==(const Color&) const = default;
  /// Equal, except for rounding in one or two blends.
  bool isNear(const Color& o) const {
    return std::abs(red - o.red) < 3 && std::abs(green - o.green) < 3 && std::abs(blue - o.blue) < 3;
  }
};
inline std::ostream& operator<<(std::ostream& out, const Color& c) {
  return out << "(" << c.red << ", " << c.green << ", " << c.blue << ")";
}
inline constexpr Color kWhite{255, 255, 255}, kRed{255, 0, 0}, kGreen{0, 255, 0}, kBlue{0, 0, 255};

/// A white surface for painting whose pixels can be read.
class Canvas {
 public:
  Canvas(int width, int height, double scale = 1)
      : _surface(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, static_cast<int>(std::lround(width * scale)),
                                            static_cast<int>(std::lround(height * scale)))),
        _cr(cairo_create(_surface)),
        _scale(scale) {
    cairo_set_source_rgb(_cr, 1, 1, 1);
    cairo_paint(_cr);
    cairo_scale(_cr, scale, scale);
  }
  /// Creates a canvas as large as the window, and paints the window on it.
  explicit Canvas(UIWindow& window, double scale = 1, double now = 0)
      : Canvas(static_cast<int>(window.bounds().size.width), static_cast<int>(window.bounds().size.height), scale) {
    paint(window, now);
  }
  ~Canvas() {
    cairo_destroy(_cr);
    cairo_surface_destroy(_surface);
  }
  Canvas(const Canvas&) = delete;
  Canvas& operator=(const Canvas&) = delete;

  void paint(UIWindow& window, double now = 0) {
    CairoPainter painter(_cr, _scale);
    paintWindow(window, painter, now);
  }
  cairo_t* cr() { return _cr; }
  int width() const { return cairo_image_surface_get_width(_surface); }
  int height() const { return cairo_image_surface_get_height(_surface); }

  /// The colour of a pixel.
  Color at(int x, int y) const {
    cairo_surface_flush(_surface);
    const unsigned char* row = cairo_image_surface_get_data(_surface) + y * cairo_image_surface_get_stride(_surface);
    return {row[4 * x + 2], row[4 * x + 1], row[4 * x]};
  }
  /// The bounds of all pixels that are not white; `pixels` is 0 for a blank canvas.
  struct Ink {
    int left, top, right, bottom, pixels;
  };
  Ink ink() const {
    Ink found{width(), height(), 0, 0, 0};
    for (int y = 0; y < height(); ++y) {
      for (int x = 0; x < width(); ++x) {
        if (at(x, y) == kWhite) continue;
        found = {std::min(found.left, x), std::min(found.top, y), std::max(found.right, x + 1),
                 std::max(found.bottom, y + 1), found.pixels + 1};
      }
    }
    return found;
  }
  bool isSameAs(const Canvas& other) const {
    cairo_surface_flush(_surface);
    cairo_surface_flush(other._surface);
    const auto bytes = static_cast<std::size_t>(cairo_image_surface_get_stride(_surface) * height());
    return width() == other.width() && height() == other.height() &&
           std::memcmp(cairo_image_surface_get_data(_surface), cairo_image_surface_get_data(other._surface), bytes) ==
               0;
  }

 private:
  cairo_surface_t* _surface;
  cairo_t* _cr;
  double _scale;
};

}  // namespace oq::test
