// SPDX-License-Identifier: Apache-2.0
#include "UIKit/Painting/ShadowMask.h"

#include <cairo.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <deque>
#include <vector>

#include "UIKit/Painting/CairoPainter.h"

namespace oq {
namespace {

constexpr int kLargestMaskSide = 8192;
constexpr int kPasses = 3;  // three box blurs approximate a Gaussian
constexpr std::size_t kKeptShapes = 8;

/// One box blur along a line of `count` pixels, `step` bytes apart.
void blurLine(std::uint8_t* line, int count, int step, int half, std::vector<std::uint8_t>& copy) {
  for (int i = 0; i < count; ++i) copy[i] = line[i * step];
  const unsigned width = 2 * half + 1;
  unsigned sum = 0;
  for (int i = 0; i < std::min(half, count); ++i) sum += copy[i];
  for (int i = 0; i < count; ++i) {
    if (i + half < count) sum += copy[i + half];
    if (i - half - 1 >= 0) sum -= copy[i - half - 1];
    line[i * step] = static_cast<std::uint8_t>(sum / width);
  }
}

void blur(cairo_surface_t* surface, int half) {
  if (half < 1) return;
  cairo_surface_flush(surface);
  std::uint8_t* data = cairo_image_surface_get_data(surface);
  int width = cairo_image_surface_get_width(surface), height = cairo_image_surface_get_height(surface);
  int stride = cairo_image_surface_get_stride(surface);
  std::vector<std::uint8_t> copy(std::max(width, height));
  for (int pass = 0; pass < kPasses; ++pass) {
    for (int y = 0; y < height; ++y) blurLine(data + y * stride, width, 1, half, copy);
    for (int x = 0; x < width; ++x) blurLine(data + x, height, stride, half, copy);
  }
  cairo_surface_mark_dirty(surface);
}

int boxRadius(double radius, double scale) {
  return static_cast<int>(std::lround(std::clamp(radius, 0.0, 200.0) * scale / 2));
}

}  // namespace

int ShadowMask::marginFor(double radius, double scale) {
  return kPasses * boxRadius(radius, scale) + 1;
}

ShadowMask::~ShadowMask() {
  cairo_surface_destroy(_surface);
}

std::shared_ptr<const ShadowMask> ShadowMask::make(CGSize size, double radius, double scale,
                                                   const std::function<void(cairo_t*)>& draw) {
  int half = boxRadius(radius, scale), margin = marginFor(radius, scale);
  double width = std::ceil(size.width * scale) + 2 * margin, height = std::ceil(size.height * scale) + 2 * margin;
  if (!(width <= kLargestMaskSide && height <= kLargestMaskSide)) return nullptr;
  auto* surface = cairo_image_surface_create(CAIRO_FORMAT_A8, static_cast<int>(width), static_cast<int>(height));
  auto mask = std::make_shared<ShadowMask>(surface, margin / scale);
  if (cairo_surface_status(surface) != CAIRO_STATUS_SUCCESS) return nullptr;
  cairo_t* cr = cairo_create(surface);
  cairo_translate(cr, margin, margin);
  cairo_scale(cr, scale, scale);
  draw(cr);
  cairo_destroy(cr);
  blur(surface, half);
  cairo_surface_set_device_scale(surface, scale, scale);
  return mask;
}

std::shared_ptr<const ShadowMask> ShadowMask::forShape(CGSize size, double cornerRadius, double radius, double scale) {
  struct Entry {
    CGSize size;
    double cornerRadius, radius, scale;
    std::shared_ptr<const ShadowMask> mask;
  };
  static std::deque<Entry> kept;
  for (const Entry& entry : kept) {
    if (entry.size == size && entry.cornerRadius == cornerRadius && entry.radius == radius && entry.scale == scale) {
      return entry.mask;
    }
  }
  auto mask = make(size, radius, scale, [&](cairo_t* cr) {
    addRoundedRect(cr, {{0, 0}, size}, cornerRadius);
    cairo_fill(cr);
  });
  kept.push_front({size, cornerRadius, radius, scale, mask});
  if (kept.size() > kKeptShapes) kept.pop_back();
  return mask;
}

}  // namespace oq
