// SPDX-License-Identifier: Apache-2.0
#include "ArtView.h"

#include <QtGui/QPainter>
#include <QtGui/QPainterPath>
#include <algorithm>

ArtView::ArtView(const Product& product, int width, Corners corners)
    : _product(product), _width(width), _corners(corners) {
  setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
}

QSize ArtView::sizeHint() const {
  return {_width, static_cast<int>(_width * artHeight / artWidth)};
}

void ArtView::paintEvent(QPaintEvent*) {
  const double scale = devicePixelRatioF();
  const Color& backdrop = _product.backdrop;
  QImage image(size() * scale, QImage::Format_ARGB32_Premultiplied);
  image.fill(QColor::fromRgbF(static_cast<float>(backdrop.red), static_cast<float>(backdrop.green),
                              static_cast<float>(backdrop.blue)));
  image.setDevicePixelRatio(scale);
  cairo_surface_t* surface = cairo_image_surface_create_for_data(
      image.bits(), CAIRO_FORMAT_ARGB32, image.width(), image.height(), static_cast<int>(image.bytesPerLine()));
  cairo_t* cr = cairo_create(surface);
  const double fit = std::min(image.width() / artWidth, image.height() / artHeight);
  cairo_translate(cr, (image.width() - artWidth * fit) / 2, (image.height() - artHeight * fit) / 2);
  cairo_scale(cr, fit, fit);
  _product.draw(cr);
  cairo_destroy(cr);
  cairo_surface_destroy(surface);

  const bool isTop = _corners == Corners::Top;
  const double radius = isTop ? 18 : 12;
  QPainterPath outline;
  outline.addRoundedRect(QRectF(rect()).adjusted(0, 0, 0, isTop ? radius : 0), radius, radius);
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  QBrush brush(image);
  // A brush ignores the image's device pixel ratio.
  brush.setTransform(QTransform::fromScale(1 / scale, 1 / scale));
  painter.fillPath(outline, brush);
}
