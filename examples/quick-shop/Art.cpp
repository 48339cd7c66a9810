// SPDX-License-Identifier: Apache-2.0
#include "Art.h"

#include <algorithm>
#include <cmath>

#include "Catalogue.h"

namespace {

/// Keeps what is painted from now on out of the picture's upper corners, or out of all four.
void roundCorners(cairo_t* cr, double width, double height, double radius, bool onlyTop) {
  constexpr double quarter = M_PI / 2;
  const double bottom = onlyTop ? height + radius : height;
  cairo_arc(cr, width - radius, radius, radius, -quarter, 0);
  cairo_arc(cr, width - radius, bottom - radius, radius, 0, quarter);
  cairo_arc(cr, radius, bottom - radius, radius, quarter, 2 * quarter);
  cairo_arc(cr, radius, radius, radius, 2 * quarter, 3 * quarter);
  cairo_close_path(cr);
  cairo_clip(cr);
}

}  // namespace

QImage Art::requestImage(const QString& id, QSize* size, const QSize& requested) {
  const QStringList words = id.split('/');
  const auto& products = catalogue();
  const auto product = std::find_if(products.begin(), products.end(),
                                    [&](const Product& each) { return each.id == words[0].toStdString(); });
  if (product == products.end() || words.size() < 3 || requested.isEmpty()) return {};
  QImage image(requested, QImage::Format_ARGB32_Premultiplied);
  image.fill(Qt::transparent);
  if (size) *size = requested;
  cairo_surface_t* surface = cairo_image_surface_create_for_data(
      image.bits(), CAIRO_FORMAT_ARGB32, image.width(), image.height(), static_cast<int>(image.bytesPerLine()));
  cairo_t* cr = cairo_create(surface);
  roundCorners(cr, image.width(), image.height(), words[2].toDouble() * image.width(), words[1] == "top");
  const Color& backdrop = product->backdrop;
  cairo_set_source_rgb(cr, backdrop.red, backdrop.green, backdrop.blue);
  cairo_paint(cr);
  const double fit = std::min(image.width() / artWidth, image.height() / artHeight);
  cairo_translate(cr, (image.width() - artWidth * fit) / 2, (image.height() - artHeight * fit) / 2);
  cairo_scale(cr, fit, fit);
  product->draw(cr);
  cairo_destroy(cr);
  cairo_surface_destroy(surface);
  return image;
}
