// SPDX-License-Identifier: Apache-2.0
#include "Host/PixelFrames.h"

#include <cairo.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>

#include "UIKit/Painting/CairoPainter.h"

namespace oq {

namespace {

bool isLength(int pixels) {
  return pixels > 0 && pixels <= PixelBuffer::largestSide;
}

PixelRect wholePixels(CGRect area, const PixelBuffer& buffer) {
  const CGRect inside =
      area.intersection({{}, {static_cast<double>(buffer.width), static_cast<double>(buffer.height)}});
  if (inside.isEmpty()) return {};
  const int x = static_cast<int>(inside.minX()), y = static_cast<int>(inside.minY());
  return {x, y, static_cast<int>(std::ceil(inside.maxX())) - x, static_cast<int>(std::ceil(inside.maxY())) - y};
}

void clearArea(const PixelBuffer& buffer, PixelRect area) {
  for (int y = area.y; y < area.y + area.height; ++y) {
    std::uint32_t* row = buffer.pixels + static_cast<std::ptrdiff_t>(y) * (buffer.stride / 4);
    std::fill_n(row + area.x, area.width, buffer.background);
  }
}

void paintArea(const WindowStage& stage, const PixelBuffer& buffer, PixelRect area, double scale, double time) {
  const std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)> surface(
      cairo_image_surface_create_for_data(static_cast<unsigned char*>(static_cast<void*>(buffer.pixels)),
                                          CAIRO_FORMAT_ARGB32, buffer.width, buffer.height, buffer.stride),
      cairo_surface_destroy);
  const std::unique_ptr<cairo_t, decltype(&cairo_destroy)> cr(cairo_create(surface.get()), cairo_destroy);
  cairo_rectangle(cr.get(), area.x, area.y, area.width, area.height);
  cairo_clip(cr.get());
  cairo_scale(cr.get(), scale, scale);
  CairoPainter painter(cr.get(), scale);
  stage.paint(painter, time);
}

}  // namespace

bool PixelBuffer::isValid() const {
  return pixels && isLength(width) && isLength(height) && stride % 4 == 0 && stride / 4 >= width;
}

PaintedFrame PixelFrames::paint(const WindowStage& stage, const PixelBuffer& buffer, double pixelsPerPoint,
                                double time) {
  using Result = PaintedFrame::Result;
  if (!buffer.isValid()) return {Result::Same, {}};
  const double scale = pixelsPerPoint * stage.stage().scale;
  const Format format{buffer.width, buffer.height, scale, buffer.background};
  DrawList list(scale);
  stage.paint(list, time);
  const bool isKept = buffer.holdsLastFrame && _last && format == _format;
  const PixelRect all{0, 0, buffer.width, buffer.height};
  const PixelRect damage = isKept ? wholePixels(list.differenceTo(*_last), buffer) : all;
  const bool isEmpty = list.isEmpty();
  _format = format;
  _last.emplace(std::move(list));
  if (!damage.isEmpty()) clearArea(buffer, damage);
  if (isEmpty) return {Result::Nothing, damage};
  if (damage.isEmpty()) return {Result::Same, {}};
  paintArea(stage, buffer, damage, scale, time);
  return {Result::Changed, damage};
}

}  // namespace oq
