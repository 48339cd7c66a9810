// SPDX-License-Identifier: Apache-2.0
#include "Artwork.h"

#include <cairo.h>

#include <cmath>
#include <initializer_list>
#include <memory>
#include <numbers>

#include "UIKit/Text/TextLayout.h"

namespace oq::gallery {

namespace {

/// Encodes the surface as PNG, and destroys the surface.
Data pngData(cairo_surface_t* surface) {
  Data data;
  auto append = [](void* to, const unsigned char* bytes, unsigned length) {
    auto& target = *static_cast<Data*>(to);
    target.insert(target.end(), bytes, bytes + length);
    return CAIRO_STATUS_SUCCESS;
  };
  cairo_surface_write_to_png_stream(surface, append, &data);
  cairo_surface_destroy(surface);
  return data;
}

struct Stop {
  double at, red, green, blue, alpha;
};

void fillWith(cairo_t* cr, cairo_pattern_t* pattern, std::initializer_list<Stop> stops) {
  for (const Stop& s : stops) cairo_pattern_add_color_stop_rgba(pattern, s.at, s.red, s.green, s.blue, s.alpha);
  cairo_set_source(cr, pattern);
  cairo_pattern_destroy(pattern);
  cairo_fill(cr);
}

void centeredText(cairo_t* cr, const std::string& text, double size, UIColor color, double top) {
  NSAttributedString styled{text, {0, NSTextAlignment::Center}};
  drawText(cr, styled, UIFont::fontWithName("PingFangSC-Regular", size), color, CGRectMake(0, top, 520, 2 * size), 1,
           false);
}

/// Draws hills, whose outline is the sum of two waves.
void hills(cairo_t* cr, double base, double height, double phase, UIColor color) {
  cairo_move_to(cr, 0, 780);
  for (int x = 0; x <= 520; x += 4) {
    double wave = std::sin(x / 95.0 + phase) + 0.45 * std::sin(x / 37.0 + 2 * phase);
    cairo_line_to(cr, x, base - height * wave);
  }
  cairo_line_to(cr, 520, 780);
  cairo_set_source_rgb(cr, color.red, color.green, color.blue);
  cairo_fill(cr);
}

/// Draws a poster of 520 by 780 units; png() scales it.
void drawPoster(cairo_t* cr) {
  cairo_rectangle(cr, 0, 0, 520, 780);
  fillWith(cr, cairo_pattern_create_linear(0, 0, 0, 780),
           {{0, .10, .14, .36, 1}, {.45, .55, .30, .52, 1}, {.72, .98, .58, .42, 1}, {1, 1, .83, .58, 1}});
  cairo_arc(cr, 260, 470, 220, 0, 2 * std::numbers::pi);
  fillWith(cr, cairo_pattern_create_radial(260, 470, 40, 260, 470, 220), {{0, 1, .92, .70, .8}, {1, 1, .80, .55, 0}});
  cairo_arc(cr, 260, 470, 78, 0, 2 * std::numbers::pi);
  cairo_set_source_rgb(cr, 1, .95, .80);
  cairo_fill(cr);
  hills(cr, 560, 26, 0.6, {.62, .29, .42, 1});
  hills(cr, 620, 30, 2.1, {.40, .19, .38, 1});
  hills(cr, 690, 24, 3.9, {.20, .12, .29, 1});
  centeredText(cr, "夏日特惠", 84, {1, 1, 1, 1}, 96);
  centeredText(cr, "SUMMER  SALE", 30, {1, 1, 1, .85}, 222);
  centeredText(cr, "全场八折 · 20% off everything", 25, {1, .93, .82, 1}, 706);
}

void ellipse(cairo_t* cr, double x, double y, double across, double down) {
  cairo_save(cr);
  cairo_translate(cr, x, y);
  cairo_scale(cr, across, down);
  cairo_new_sub_path(cr);
  cairo_arc(cr, 0, 0, 1, 0, 2 * std::numbers::pi);
  cairo_restore(cr);
}

/// Draws a mug on a table, 520 by 341.25 units; png() scales it.
void drawStillLife(cairo_t* cr) {
  cairo_rectangle(cr, 0, 0, 520, 342);
  fillWith(cr, cairo_pattern_create_linear(0, 0, 0, 342), {{0, .93, .88, .80, 1}, {1, .86, .77, .66, 1}});
  cairo_rectangle(cr, 0, 262, 520, 80);
  fillWith(cr, cairo_pattern_create_linear(0, 262, 0, 342), {{0, .70, .51, .36, 1}, {1, .60, .42, .29, 1}});
  ellipse(cr, 262, 288, 118, 13);
  cairo_set_source_rgba(cr, .25, .14, .08, .35);
  cairo_fill(cr);
  // The handle, then the body over it.
  cairo_set_line_width(cr, 20);
  ellipse(cr, 352, 192, 42, 46);
  cairo_set_source_rgb(cr, .10, .36, .31);
  cairo_stroke(cr);
  cairo_move_to(cr, 172, 122);
  cairo_line_to(cr, 186, 272);
  cairo_curve_to(cr, 190, 292, 334, 292, 338, 272);
  cairo_line_to(cr, 352, 122);
  cairo_close_path(cr);
  fillWith(cr, cairo_pattern_create_linear(172, 0, 352, 0),
           {{0, .09, .33, .29, 1}, {.35, .17, .49, .42, 1}, {1, .07, .27, .24, 1}});
  ellipse(cr, 262, 122, 90, 17);
  cairo_set_source_rgb(cr, .83, .90, .86);
  cairo_fill(cr);
  ellipse(cr, 262, 125, 80, 12);
  cairo_set_source_rgb(cr, .33, .19, .11);
  cairo_fill(cr);
  cairo_set_source_rgba(cr, 1, 1, 1, .7);
  cairo_set_line_width(cr, 5);
  cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
  for (double x : {222.0, 262.0, 302.0}) {
    cairo_move_to(cr, x, 96);
    cairo_curve_to(cr, x - 18, 78, x + 18, 60, x, 40);
    cairo_stroke(cr);
  }
}

Data png(int width, int height, double drawnWidth, double drawnHeight, void (*draw)(cairo_t*)) {
  cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height);
  cairo_t* cr = cairo_create(surface);
  cairo_scale(cr, width / drawnWidth, height / drawnHeight);
  draw(cr);
  cairo_destroy(cr);
  return pngData(surface);
}

}  // namespace

Data poster(int width, int height) {
  return png(width, height, 520, 780, drawPoster);
}

Data stillLife(int width, int height) {
  return png(width, height, 520, 341.25, drawStillLife);
}

}  // namespace oq::gallery
