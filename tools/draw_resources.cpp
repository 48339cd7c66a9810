// SPDX-License-Identifier: Apache-2.0

/// Draws the simple icons of resources/OQSDK.bundle. To change one, edit it here and run this from the top of the
/// source tree:
///
///     g++ -std=c++20 tools/draw_resources.cpp $(pkg-config --cflags --libs cairo) -o /tmp/draw_resources
///     /tmp/draw_resources resources/OQSDK.bundle

#include <cairo.h>

#include <cstdio>
#include <numbers>
#include <string>
#include <vector>

namespace {

/// A cross in a ring on a dark disc: visible on light and dark pictures.
void drawClose(cairo_t* cr) {
  const double center = 20, ring = 17.25, arm = 6.5;
  cairo_arc(cr, center, center, ring, 0, 2 * std::numbers::pi);
  cairo_set_source_rgba(cr, 0, 0, 0, 0.45);
  cairo_fill_preserve(cr);
  cairo_set_source_rgb(cr, 1, 1, 1);
  cairo_set_line_width(cr, 2.5);
  cairo_stroke(cr);
  cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
  cairo_set_line_width(cr, 3);
  for (double direction : {1.0, -1.0}) {
    cairo_move_to(cr, center - arm, center - direction * arm);
    cairo_line_to(cr, center + arm, center + direction * arm);
  }
  cairo_stroke(cr);
}

void beginBarGlyph(cairo_t* cr) {
  cairo_set_source_rgb(cr, 0.11, 0.16, 0.29);
  cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
  cairo_set_line_join(cr, CAIRO_LINE_JOIN_ROUND);
  cairo_set_line_width(cr, 2.25);
}

/// An arrowhead that points back.
void drawWebBack(cairo_t* cr) {
  beginBarGlyph(cr);
  cairo_move_to(cr, 21.5, 9.5);
  cairo_line_to(cr, 13, 18);
  cairo_line_to(cr, 21.5, 26.5);
  cairo_stroke(cr);
}

/// A plain cross.
void drawWebClose(cairo_t* cr) {
  beginBarGlyph(cr);
  for (double direction : {1.0, -1.0}) {
    cairo_move_to(cr, 18 - 7.25, 18 - direction * 7.25);
    cairo_line_to(cr, 18 + 7.25, 18 + direction * 7.25);
  }
  cairo_stroke(cr);
}

struct Image {
  std::string name;
  double side;  ///< points
  std::vector<int> densities;
  void (*draw)(cairo_t*);
};

const std::vector<Image> kImages = {
    {"oq_close", 40, {2}, drawClose},
    {"oq_webview_back", 36, {1, 2, 3}, drawWebBack},
    {"oq_webview_close", 36, {1, 2, 3}, drawWebClose},
};

bool write(const std::string& file, const Image& image, int density) {
  const int pixels = static_cast<int>(image.side) * density;
  cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, pixels, pixels);
  cairo_t* cr = cairo_create(surface);
  cairo_scale(cr, density, density);
  image.draw(cr);
  cairo_destroy(cr);
  bool written = cairo_surface_write_to_png(surface, file.c_str()) == CAIRO_STATUS_SUCCESS;
  cairo_surface_destroy(surface);
  return written;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: draw_resources FOLDER\n");
    return 2;
  }
  for (const Image& image : kImages) {
    for (int density : image.densities) {
      const std::string file = std::string(argv[1]) + "/" + image.name + "@" + std::to_string(density) + "x.png";
      if (write(file, image, density)) continue;
      std::fprintf(stderr, "draw_resources: cannot write %s\n", file.c_str());
      return 1;
    }
  }
}
