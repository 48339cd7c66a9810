// SPDX-License-Identifier: Apache-2.0
#include "ProductArt.h"

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

void use(Cairo::Context& cr, Color color) {
  cr.set_source_rgb(color.red, color.green, color.blue);
}

void box(Cairo::Context& cr, double x, double y, double width, double height, double radius, Color color) {
  cr.begin_new_sub_path();
  cr.arc(x + width - radius, y + radius, radius, -pi / 2, 0);
  cr.arc(x + width - radius, y + height - radius, radius, 0, pi / 2);
  cr.arc(x + radius, y + height - radius, radius, pi / 2, pi);
  cr.arc(x + radius, y + radius, radius, pi, 1.5 * pi);
  cr.close_path();
  use(cr, color);
  cr.fill();
}

void ellipse(Cairo::Context& cr, double x, double y, double width, double height, Color color) {
  cr.save();
  cr.translate(x, y);
  cr.scale(width / 2, height / 2);
  cr.arc(0, 0, 1, 0, 2 * pi);
  cr.restore();
  use(cr, color);
  cr.fill();
}

void line(Cairo::Context& cr, double x1, double y1, double x2, double y2, double width, Color color) {
  cr.set_line_cap(Cairo::Context::LineCap::ROUND);
  cr.set_line_width(width);
  cr.move_to(x1, y1);
  cr.line_to(x2, y2);
  use(cr, color);
  cr.stroke();
}

void ground(Cairo::Context& cr, double width) {
  cr.save();
  cr.translate(artWidth / 2, 128);
  cr.scale(width / 2, 5);
  cr.arc(0, 0, 1, 0, 2 * pi);
  cr.restore();
  cr.set_source_rgba(0, 0, 0, 0.10);
  cr.fill();
}

}  // namespace

void drawMug(Cairo::Context& cr) {
  ground(cr, 110);
  cr.set_line_width(9);
  cr.arc(132, 86, 17, -pi / 2, pi / 2);
  use(cr, pine);
  cr.stroke();
  box(cr, 66, 54, 66, 74, 13, pine);
  box(cr, 66, 84, 66, 12, 0, chalk);
  ellipse(cr, 99, 57, 60, 12, ink);
  cr.set_line_width(3);
  for (double x : {88.0, 102.0, 116.0}) {
    cr.move_to(x, 44);
    cr.curve_to(x - 8, 36, x + 8, 30, x, 20);
    cr.set_source_rgba(1, 1, 1, 0.75);
    cr.stroke();
  }
}

void drawLamp(Cairo::Context& cr) {
  ground(cr, 84);
  auto glow = Cairo::RadialGradient::create(100, 66, 6, 100, 66, 64);
  glow->add_color_stop_rgba(0, 1, 0.90, 0.62, 0.85);
  glow->add_color_stop_rgba(1, 1, 0.90, 0.62, 0);
  cr.set_source(glow);
  cr.arc(100, 66, 64, 0, 2 * pi);
  cr.fill();
  line(cr, 100, 62, 100, 122, 5, darkWood);
  box(cr, 74, 120, 52, 8, 4, darkWood);
  cr.move_to(80, 22);
  cr.line_to(120, 22);
  cr.line_to(140, 70);
  cr.line_to(60, 70);
  cr.close_path();
  use(cr, chalk);
  cr.fill();
  line(cr, 61, 70, 139, 70, 3, sand);
}

void drawVase(Cairo::Context& cr) {
  ground(cr, 78);
  for (double lean : {-26.0, 0.0, 24.0}) {
    line(cr, 100, 62, 100 + lean, 18, 2.5, pine);
    for (double step : {0.35, 0.6, 0.85, 1.0}) {
      double x = 100 + lean * step, y = 62 - 44 * step;
      ellipse(cr, x - 6, y, 11, 7, moss);
      ellipse(cr, x + 6, y - 3, 11, 7, moss);
    }
  }
  cr.move_to(90, 58);
  cr.curve_to(94, 74, 66, 82, 68, 104);
  cr.curve_to(70, 122, 82, 128, 100, 128);
  cr.curve_to(118, 128, 130, 122, 132, 104);
  cr.curve_to(134, 82, 106, 74, 110, 58);
  cr.close_path();
  use(cr, clay);
  cr.fill();
  box(cr, 86, 54, 28, 7, 3.5, brick);
}

void drawClock(Cairo::Context& cr) {
  ground(cr, 76);
  line(cr, 78, 112, 70, 126, 6, wood);
  line(cr, 122, 112, 130, 126, 6, wood);
  ellipse(cr, 100, 72, 104, 104, wood);
  ellipse(cr, 100, 72, 88, 88, chalk);
  for (int hour = 0; hour < 12; ++hour) {
    cr.save();
    cr.translate(100, 72);
    cr.rotate(hour * pi / 6);
    line(cr, 0, -38, 0, hour % 3 == 0 ? -32 : -36, 2, ink);
    cr.restore();
  }
  line(cr, 100, 72, 84, 60, 4, ink);
  line(cr, 100, 72, 120, 50, 3, ink);
  ellipse(cr, 100, 72, 8, 8, clay);
}

void drawCandle(Cairo::Context& cr) {
  ground(cr, 96);
  box(cr, 66, 62, 68, 66, 8, pine);
  box(cr, 76, 80, 48, 30, 3, chalk);
  line(cr, 84, 90, 116, 90, 2.5, ink);
  line(cr, 90, 99, 110, 99, 2, moss);
  ellipse(cr, 100, 63, 64, 12, sand);
  line(cr, 100, 60, 100, 50, 2.5, ink);
  cr.move_to(100, 20);
  cr.curve_to(116, 40, 110, 52, 100, 52);
  cr.curve_to(90, 52, 84, 40, 100, 20);
  cr.set_source_rgb(0.96, 0.66, 0.26);
  cr.fill();
  ellipse(cr, 100, 45, 8, 12, chalk);
}

void drawBooks(Cairo::Context& cr) {
  ground(cr, 128);
  box(cr, 46, 108, 108, 20, 3, pine);
  box(cr, 54, 88, 96, 20, 3, clay);
  box(cr, 48, 68, 100, 20, 3, sand);
  for (double y : {113.0, 93.0, 73.0}) box(cr, 62, y, 5, 10, 1, chalk);
  cr.save();
  cr.translate(72, 68);
  cr.rotate(-0.16);
  box(cr, 0, -18, 84, 18, 3, ink);
  box(cr, 14, -14, 5, 10, 1, sand);
  cr.restore();
}

void drawStool(Cairo::Context& cr) {
  ground(cr, 104);
  line(cr, 80, 62, 66, 126, 7, darkWood);
  line(cr, 120, 62, 134, 126, 7, darkWood);
  line(cr, 100, 62, 100, 122, 7, darkWood);
  line(cr, 74, 100, 126, 100, 5, darkWood);
  box(cr, 56, 48, 88, 15, 7.5, wood);
  ellipse(cr, 100, 51, 82, 10, {0.80, 0.62, 0.45});
}

void drawBowl(Cairo::Context& cr) {
  ground(cr, 92);
  ellipse(cr, 82, 66, 38, 38, clay);
  ellipse(cr, 118, 68, 36, 36, {0.86, 0.62, 0.26});
  ellipse(cr, 101, 58, 36, 36, moss);
  line(cr, 101, 40, 105, 32, 3, darkWood);
  cr.move_to(44, 74);
  cr.line_to(156, 74);
  cr.curve_to(152, 112, 128, 128, 100, 128);
  cr.curve_to(72, 128, 48, 112, 44, 74);
  cr.close_path();
  use(cr, ink);
  cr.fill();
  box(cr, 42, 70, 116, 8, 4, {0.30, 0.37, 0.35});
}
