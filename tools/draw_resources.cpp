/// Draws the images of resources/OQSDK.bundle that are made of a few lines. Run it from the top of the source
/// tree when one of them is to look different:
///
///     g++ -std=c++20 tools/draw_resources.cpp $(pkg-config --cflags --libs cairo) -o /tmp/draw_resources
///     /tmp/draw_resources resources/OQSDK.bundle

#include <cairo.h>

#include <cstdio>
#include <numbers>
#include <string>

namespace {

constexpr double kSide = 40;  // points
constexpr int kDensity = 2;   // pixels a point

/// A cross in a ring on a dark disc: to be seen on any picture, light or dark.
void drawClose(cairo_t* cr) {
  const double centre = kSide / 2, ring = 17.25, arm = 6.5;
  cairo_arc(cr, centre, centre, ring, 0, 2 * std::numbers::pi);
  cairo_set_source_rgba(cr, 0, 0, 0, 0.45);
  cairo_fill_preserve(cr);
  cairo_set_source_rgb(cr, 1, 1, 1);
  cairo_set_line_width(cr, 2.5);
  cairo_stroke(cr);
  cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
  cairo_set_line_width(cr, 3);
  for (double direction : {1.0, -1.0}) {
    cairo_move_to(cr, centre - arm, centre - direction * arm);
    cairo_line_to(cr, centre + arm, centre + direction * arm);
  }
  cairo_stroke(cr);
}

bool write(const std::string& file, void (*draw)(cairo_t*)) {
  cairo_surface_t* surface = cairo_image_surface_create(
      CAIRO_FORMAT_ARGB32, static_cast<int>(kSide) * kDensity, static_cast<int>(kSide) * kDensity);
  cairo_t* cr = cairo_create(surface);
  cairo_scale(cr, kDensity, kDensity);
  draw(cr);
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
  const std::string file = std::string(argv[1]) + "/oq_close@2x.png";
  if (write(file, drawClose)) return 0;
  std::fprintf(stderr, "draw_resources: cannot write %s\n", file.c_str());
  return 1;
}
