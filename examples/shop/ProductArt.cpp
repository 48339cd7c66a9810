// SPDX-License-Identifier: Apache-2.0
#include "ProductArt.h"

#include <initializer_list>
#include <numbers>

namespace {

constexpr double pi = std::numbers::pi;
constexpr Color ink{0.17, 0.22, 0.21};
constexpr Color pine{0.18, 0.37, 0.31};
constexpr Color moss{0.45, 0.56, 0.42};
constexpr Color clay{0.78, 0.42, 0.28};
constexpr Color brick{0.62, 0.30, 0.20};
constexpr Color sand{0.95, 0.80, 0.52};
constexpr Color chalk{0.99, 0.98, 0.95};
constexpr Color wood{0.72, 0.53, 0.36};
constexpr Color darkWood{0.55, 0.38, 0.25};

void use(cairo_t* cr, Color color) {
  cairo_set_source_rgb(cr, color.red, color.green, color.blue);
}

void box(cairo_t* cr, double x, double y, double width, double height, double radius, Color color) {
  cairo_new_sub_path(cr);
  cairo_arc(cr, x + width - radius, y + radius, radius, -pi / 2, 0);
  cairo_arc(cr, x + width - radius, y + height - radius, radius, 0, pi / 2);
  cairo_arc(cr, x + radius, y + height - radius, radius, pi / 2, pi);
  cairo_arc(cr, x + radius, y + radius, radius, pi, 1.5 * pi);
  cairo_close_path(cr);
  use(cr, color);
  cairo_fill(cr);
}

void ellipse(cairo_t* cr, double x, double y, double width, double height, Color color) {
  cairo_save(cr);
  cairo_translate(cr, x, y);
  cairo_scale(cr, width / 2, height / 2);
  cairo_arc(cr, 0, 0, 1, 0, 2 * pi);
  cairo_restore(cr);
  use(cr, color);
  cairo_fill(cr);
}

void line(cairo_t* cr, double x1, double y1, double x2, double y2, double width, Color color) {
  cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
  cairo_set_line_width(cr, width);
  cairo_move_to(cr, x1, y1);
  cairo_line_to(cr, x2, y2);
  use(cr, color);
  cairo_stroke(cr);
}

void ground(cairo_t* cr, double width) {
  cairo_save(cr);
  cairo_translate(cr, artWidth / 2, 128);
  cairo_scale(cr, width / 2, 5);
  cairo_arc(cr, 0, 0, 1, 0, 2 * pi);
  cairo_restore(cr);
  cairo_set_source_rgba(cr, 0, 0, 0, 0.10);
  cairo_fill(cr);
}

}  // namespace

void drawMug(cairo_t* cr) {
  ground(cr, 110);
  cairo_set_line_width(cr, 9);
  cairo_arc(cr, 132, 86, 17, -pi / 2, pi / 2);
  use(cr, pine);
  cairo_stroke(cr);
  box(cr, 66, 54, 66, 74, 13, pine);
  box(cr, 66, 84, 66, 12, 0, chalk);
  ellipse(cr, 99, 57, 60, 12, ink);
  cairo_set_line_width(cr, 3);
  for (double x : {88.0, 102.0, 116.0}) {
    cairo_move_to(cr, x, 44);
    cairo_curve_to(cr, x - 8, 36, x + 8, 30, x, 20);
    cairo_set_source_rgba(cr, 1, 1, 1, 0.75);
    cairo_stroke(cr);
  }
}

void drawLamp(cairo_t* cr) {
  ground(cr, 84);
  cairo_pattern_t* glow = cairo_pattern_create_radial(100, 66, 6, 100, 66, 64);
  cairo_pattern_add_color_stop_rgba(glow, 0, 1, 0.90, 0.62, 0.85);
  cairo_pattern_add_color_stop_rgba(glow, 1, 1, 0.90, 0.62, 0);
  cairo_set_source(cr, glow);
  cairo_pattern_destroy(glow);
  cairo_arc(cr, 100, 66, 64, 0, 2 * pi);
  cairo_fill(cr);
  line(cr, 100, 62, 100, 122, 5, darkWood);
  box(cr, 74, 120, 52, 8, 4, darkWood);
  cairo_move_to(cr, 80, 22);
  cairo_line_to(cr, 120, 22);
  cairo_line_to(cr, 140, 70);
  cairo_line_to(cr, 60, 70);
  cairo_close_path(cr);
  use(cr, chalk);
  cairo_fill(cr);
  line(cr, 61, 70, 139, 70, 3, sand);
}

void drawVase(cairo_t* cr) {
  ground(cr, 78);
  for (double lean : {-26.0, 0.0, 24.0}) {
    line(cr, 100, 62, 100 + lean, 18, 2.5, pine);
    for (double step : {0.35, 0.6, 0.85, 1.0}) {
      double x = 100 + lean * step, y = 62 - 44 * step;
      ellipse(cr, x - 6, y, 11, 7, moss);
      ellipse(cr, x + 6, y - 3, 11, 7, moss);
    }
  }
  cairo_move_to(cr, 90, 58);
  cairo_curve_to(cr, 94, 74, 66, 82, 68, 104);
  cairo_curve_to(cr, 70, 122, 82, 128, 100, 128);
  cairo_curve_to(cr, 118, 128, 130, 122, 132, 104);
  cairo_curve_to(cr, 134, 82, 106, 74, 110, 58);
  cairo_close_path(cr);
  use(cr, clay);
  cairo_fill(cr);
  box(cr, 86, 54, 28, 7, 3.5, brick);
}

void drawClock(cairo_t* cr) {
  ground(cr, 76);
  line(cr, 78, 112, 70, 126, 6, wood);
  line(cr, 122, 112, 130, 126, 6, wood);
  ellipse(cr, 100, 72, 104, 104, wood);
  ellipse(cr, 100, 72, 88, 88, chalk);
  for (int hour = 0; hour < 12; ++hour) {
    cairo_save(cr);
    cairo_translate(cr, 100, 72);
    cairo_rotate(cr, hour * pi / 6);
    line(cr, 0, -38, 0, hour % 3 == 0 ? -32 : -36, 2, ink);
    cairo_restore(cr);
  }
  line(cr, 100, 72, 84, 60, 4, ink);
  line(cr, 100, 72, 120, 50, 3, ink);
  ellipse(cr, 100, 72, 8, 8, clay);
}

void drawCandle(cairo_t* cr) {
  ground(cr, 96);
  box(cr, 66, 62, 68, 66, 8, pine);
  box(cr, 76, 80, 48, 30, 3, chalk);
  line(cr, 84, 90, 116, 90, 2.5, ink);
  line(cr, 90, 99, 110, 99, 2, moss);
  ellipse(cr, 100, 63, 64, 12, sand);
  line(cr, 100, 60, 100, 50, 2.5, ink);
  cairo_move_to(cr, 100, 20);
  cairo_curve_to(cr, 116, 40, 110, 52, 100, 52);
  cairo_curve_to(cr, 90, 52, 84, 40, 100, 20);
  cairo_set_source_rgb(cr, 0.96, 0.66, 0.26);
  cairo_fill(cr);
  ellipse(cr, 100, 45, 8, 12, chalk);
}

void drawBooks(cairo_t* cr) {
  ground(cr, 128);
  box(cr, 46, 108, 108, 20, 3, pine);
  box(cr, 54, 88, 96, 20, 3, clay);
  box(cr, 48, 68, 100, 20, 3, sand);
  for (double y : {113.0, 93.0, 73.0}) box(cr, 62, y, 5, 10, 1, chalk);
  cairo_save(cr);
  cairo_translate(cr, 72, 68);
  cairo_rotate(cr, -0.16);
  box(cr, 0, -18, 84, 18, 3, ink);
  box(cr, 14, -14, 5, 10, 1, sand);
  cairo_restore(cr);
}

void drawStool(cairo_t* cr) {
  ground(cr, 104);
  line(cr, 80, 62, 66, 126, 7, darkWood);
  line(cr, 120, 62, 134, 126, 7, darkWood);
  line(cr, 100, 62, 100, 122, 7, darkWood);
  line(cr, 74, 100, 126, 100, 5, darkWood);
  box(cr, 56, 48, 88, 15, 7.5, wood);
  ellipse(cr, 100, 51, 82, 10, {0.80, 0.62, 0.45});
}

void drawBowl(cairo_t* cr) {
  ground(cr, 92);
  ellipse(cr, 82, 66, 38, 38, clay);
  ellipse(cr, 118, 68, 36, 36, {0.86, 0.62, 0.26});
  ellipse(cr, 101, 58, 36, 36, moss);
  line(cr, 101, 40, 105, 32, 3, darkWood);
  cairo_move_to(cr, 44, 74);
  cairo_line_to(cr, 156, 74);
  cairo_curve_to(cr, 152, 112, 128, 128, 100, 128);
  cairo_curve_to(cr, 72, 128, 48, 112, 44, 74);
  cairo_close_path(cr);
  use(cr, ink);
  cairo_fill(cr);
  box(cr, 42, 70, 116, 8, 4, {0.30, 0.37, 0.35});
}
