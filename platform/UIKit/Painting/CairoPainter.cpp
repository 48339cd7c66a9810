// SPDX-License-Identifier: Apache-2.0
#include "UIKit/Painting/CairoPainter.h"

#include <cairo.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <numbers>

#include "UIKit/Painting/LayerContent.h"
#include "UIKit/Painting/ShadowMask.h"

namespace oq {
namespace {

constexpr double kLargestSide = 16384, kLargestArea = 32e6;  // the largest content that is cached, in pixels
constexpr double kPlainSave = -1, kRoundedClip = -2;         // used in place of a group's opacity
constexpr double kSameSize = 0.01;                           // points
constexpr double kRounding = 1e-6;                           // pixels; for errors in products of sizes and scales

/// A content rendered to pixels. The mask of the shadow is added when the shadow is painted for the first time.
struct SurfaceCache : LayerContent::Cache {
  cairo_surface_t* surface = nullptr;
  cairo_surface_t* opaque = nullptr;  ///< the same pixels, without an alpha channel
  double scale = 0;
  std::shared_ptr<const ShadowMask> shadow;
  double shadowRadius = -1;

  SurfaceCache() = default;
  SurfaceCache(const SurfaceCache&) = delete;
  SurfaceCache& operator=(const SurfaceCache&) = delete;
  ~SurfaceCache() override {
    if (opaque) cairo_surface_destroy(opaque);
    if (surface) cairo_surface_destroy(surface);
  }
  cairo_surface_t* toPaint() const { return opaque ? opaque : surface; }
};

bool fitsInMemory(CGSize size, double scale) {
  double width = size.width * scale, height = size.height * scale;
  return width > 0 && height > 0 && width <= kLargestSide && height <= kLargestSide && width * height <= kLargestArea;
}

/// Returns the same pixels as a surface without alpha channel, because copying is several times faster than blending.
/// Returns nullptr unless all pixels are opaque.
cairo_surface_t* opaqueView(cairo_surface_t* surface) {
  const std::uint8_t* data = cairo_image_surface_get_data(surface);
  int width = cairo_image_surface_get_width(surface), height = cairo_image_surface_get_height(surface);
  int stride = cairo_image_surface_get_stride(surface);
  for (int y = 0; y < height; ++y) {
    const auto* row = reinterpret_cast<const std::uint32_t*>(static_cast<const void*>(data + y * stride));
    for (int x = 0; x < width; ++x) {
      if (row[x] >> 24 != 0xff) return nullptr;
    }
  }
  return cairo_image_surface_create_for_data(const_cast<std::uint8_t*>(data), CAIRO_FORMAT_RGB24, width, height,
                                             stride);
}

SurfaceCache* cacheOf(LayerContent& content, double scale) {
  auto* known = dynamic_cast<SurfaceCache*>(content.cache.get());
  if (known && known->scale == scale) return known;
  if (!fitsInMemory(content.size(), scale)) return nullptr;
  int width = static_cast<int>(std::ceil(content.size().width * scale - kRounding));
  int height = static_cast<int>(std::ceil(content.size().height * scale - kRounding));
  auto cache = std::make_unique<SurfaceCache>();
  cache->scale = scale;
  cache->surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height);
  if (cairo_surface_status(cache->surface) != CAIRO_STATUS_SUCCESS) return nullptr;
  cairo_surface_set_device_scale(cache->surface, scale, scale);
  cairo_t* cr = cairo_create(cache->surface);
  content.draw(cr);
  cairo_destroy(cr);
  cairo_surface_flush(cache->surface);
  cache->opaque = opaqueView(cache->surface);
  if (cache->opaque) cairo_surface_set_device_scale(cache->opaque, scale, scale);
  known = cache.get();
  content.cache = std::move(cache);
  return known;
}

void setColor(cairo_t* cr, const UIColor& color) {
  cairo_set_source_rgba(cr, color.red, color.green, color.blue, color.alpha);
}

void addRect(cairo_t* cr, const CGRect& rect) {
  cairo_rectangle(cr, rect.origin.x, rect.origin.y, rect.size.width, rect.size.height);
}

void paintMask(cairo_t* cr, const ShadowMask& mask, CGPoint origin, const UIColor& color) {
  setColor(cr, color);
  cairo_mask_surface(cr, mask.surface(), origin.x - mask.margin(), origin.y - mask.margin());
}

}  // namespace

double nearestPixel(double pixels) {
  return std::floor(pixels + 0.5 + kRounding);
}

void addRoundedRect(cairo_t* cr, CGRect rect, double cornerRadius) {
  double radius = std::min({cornerRadius, rect.size.width / 2, rect.size.height / 2});
  if (!(radius > 0)) return addRect(cr, rect);
  constexpr double quarter = std::numbers::pi / 2;
  cairo_new_sub_path(cr);
  cairo_arc(cr, rect.maxX() - radius, rect.minY() + radius, radius, -quarter, 0);
  cairo_arc(cr, rect.maxX() - radius, rect.maxY() - radius, radius, 0, quarter);
  cairo_arc(cr, rect.minX() + radius, rect.maxY() - radius, radius, quarter, 2 * quarter);
  cairo_arc(cr, rect.minX() + radius, rect.minY() + radius, radius, 2 * quarter, 3 * quarter);
  cairo_close_path(cr);
}

struct CairoPainter::Corners {
  struct Corner {
    CGRect place;
    std::shared_ptr<cairo_surface_t> pixels;
  };
  CGRect rect;
  double radius = 0;
  std::vector<Corner> list;
};

CairoPainter::CairoPainter(cairo_t* cr, double scale) : _cr(cr), _scale(scale) {
  cairo_save(_cr);
}

CairoPainter::~CairoPainter() {
  while (!_groups.empty()) pop();
  cairo_restore(_cr);
}

CGPoint CairoPainter::snapped(CGPoint point) const {
  double sx = 1, sy = 1;
  cairo_surface_get_device_scale(cairo_get_group_target(_cr), &sx, &sy);
  cairo_user_to_device(_cr, &point.x, &point.y);
  point = {nearestPixel(point.x * sx) / sx, nearestPixel(point.y * sy) / sy};
  cairo_device_to_user(_cr, &point.x, &point.y);
  return point;
}

/// Moves all edges to the nearest pixel boundary, so that straight edges are sharp and adjacent rectangles still touch.
/// A rectangle that would become empty, such as a thin line, is returned unchanged.
CGRect CairoPainter::snapped(CGRect rect) const {
  CGPoint from = snapped(rect.origin), to = snapped(CGPoint{rect.maxX(), rect.maxY()});
  CGRect whole{from, {to.x - from.x, to.y - from.y}};
  return whole.isEmpty() ? rect : whole;
}

void CairoPainter::pushTranslation(double x, double y) {
  cairo_save(_cr);
  cairo_translate(_cr, x, y);
  _groups.push_back(kPlainSave);
}

void CairoPainter::pushClip(CGRect rect, double cornerRadius) {
  cairo_save(_cr);
  const CGRect whole = snapped(rect);
  addRect(_cr, whole);
  cairo_clip(_cr);
  _groups.push_back(cornerRadius > 0 ? kRoundedClip : kPlainSave);
  if (cornerRadius > 0) _corners.push_back(saveCorners(whole, cornerRadius));
}

CairoPainter::Corners CairoPainter::saveCorners(CGRect rect, double radius) const {
  Corners corners{rect, std::min({radius, rect.size.width / 2, rect.size.height / 2}), {}};
  const double pixels = std::ceil(corners.radius * _scale), side = pixels / _scale;
  if (!(pixels >= 1)) return corners;
  cairo_matrix_t toTarget;
  cairo_get_matrix(_cr, &toTarget);
  for (double x : {rect.minX(), rect.maxX() - side}) {
    for (double y : {rect.minY(), rect.maxY() - side}) {
      cairo_surface_t* surface =
          cairo_image_surface_create(CAIRO_FORMAT_ARGB32, static_cast<int>(pixels), static_cast<int>(pixels));
      cairo_t* copy = cairo_create(surface);
      cairo_scale(copy, _scale, _scale);
      cairo_translate(copy, -x, -y);
      cairo_set_source_surface(copy, cairo_get_group_target(_cr), 0, 0);
      cairo_pattern_set_matrix(cairo_get_source(copy), &toTarget);
      cairo_pattern_set_filter(cairo_get_source(copy), CAIRO_FILTER_NEAREST);
      cairo_paint(copy);
      cairo_destroy(copy);
      cairo_surface_set_device_scale(surface, _scale, _scale);
      corners.list.push_back({CGRectMake(x, y, side, side), {surface, cairo_surface_destroy}});
    }
  }
  return corners;
}

void CairoPainter::putBack(const Corners& corners) const {
  for (const auto& [place, pixels] : corners.list) {
    cairo_save(_cr);
    addRect(_cr, place);
    cairo_clip(_cr);
    // Restores only the part of the corner outside the curve.
    cairo_set_fill_rule(_cr, CAIRO_FILL_RULE_EVEN_ODD);
    addRect(_cr, place);
    addRoundedRect(_cr, corners.rect, corners.radius);
    cairo_set_source_surface(_cr, pixels.get(), place.minX(), place.minY());
    cairo_pattern_set_filter(cairo_get_source(_cr), CAIRO_FILTER_NEAREST);
    cairo_set_operator(_cr, CAIRO_OPERATOR_SOURCE);
    cairo_fill(_cr);
    cairo_restore(_cr);
  }
}

void CairoPainter::pushOpacity(double opacity) {
  cairo_push_group(_cr);
  _groups.push_back(opacity);
  _groupIsEmpty = true;
}

void CairoPainter::pop() {
  double opacity = _groups.back();
  _groups.pop_back();
  if (opacity == kRoundedClip) {
    putBack(_corners.back());
    _corners.pop_back();
  }
  if (opacity < 0) return cairo_restore(_cr);
  _groupIsEmpty = false;
  cairo_pop_group_to_source(_cr);
  cairo_paint_with_alpha(_cr, opacity);
}

void CairoPainter::fill(CGRect rect, double cornerRadius, UIColor color) {
  if (rect.isEmpty()) return;
  setColor(_cr, color);
  if (cornerRadius > 0) {
    addRoundedRect(_cr, snapped(rect), cornerRadius);
  } else {
    addRect(_cr, snapped(rect));
    // An empty group contains nothing that the colour must be blended with.
    if (_groupIsEmpty) cairo_set_operator(_cr, CAIRO_OPERATOR_SOURCE);
  }
  cairo_fill(_cr);
  cairo_set_operator(_cr, CAIRO_OPERATOR_OVER);
  _groupIsEmpty = false;
}

void CairoPainter::content(LayerContent& content, CGRect destination, double opacity) {
  if (destination.isEmpty() || content.size().width <= 0 || content.size().height <= 0) return;
  _groupIsEmpty = false;
  SurfaceCache* cache = cacheOf(content, _scale);
  if (!cache) return drawUncached(content, destination, opacity);

  CGSize size = content.size();
  bool sameSize = std::abs(size.width - destination.size.width) < kSameSize &&
                  std::abs(size.height - destination.size.height) < kSameSize;
  CGPoint origin = snapped(destination.origin);
  cairo_save(_cr);
  cairo_translate(_cr, origin.x, origin.y);
  if (!sameSize) cairo_scale(_cr, destination.size.width / size.width, destination.size.height / size.height);
  cairo_set_source_surface(_cr, cache->toPaint(), 0, 0);
  cairo_pattern_set_filter(cairo_get_source(_cr), sameSize ? CAIRO_FILTER_NEAREST : CAIRO_FILTER_BILINEAR);
  if (opacity < 1) {
    cairo_paint_with_alpha(_cr, opacity);
  } else {
    cairo_paint(_cr);
  }
  cairo_restore(_cr);
}

/// Draws a content that is too large for the cache. This is done for every frame, but the clip limits it to the visible
/// part.
void CairoPainter::drawUncached(const LayerContent& content, CGRect destination, double opacity) {
  cairo_save(_cr);
  addRect(_cr, destination);
  cairo_clip(_cr);
  if (opacity < 1) cairo_push_group(_cr);
  cairo_translate(_cr, destination.origin.x, destination.origin.y);
  cairo_scale(_cr, destination.size.width / content.size().width, destination.size.height / content.size().height);
  content.draw(_cr);
  if (opacity < 1) {
    cairo_pop_group_to_source(_cr);
    cairo_paint_with_alpha(_cr, opacity);
  }
  cairo_restore(_cr);
}

void CairoPainter::shapeShadow(CGRect rect, double cornerRadius, UIColor color, CGSize offset, double radius) {
  if (rect.isEmpty()) return;
  _groupIsEmpty = false;
  auto mask = ShadowMask::forShape(rect.size, cornerRadius, radius, _scale);
  if (mask) paintMask(_cr, *mask, snapped(CGPoint{rect.minX() + offset.width, rect.minY() + offset.height}), color);
}

void CairoPainter::contentShadow(LayerContent& content, CGRect destination, UIColor color, CGSize offset,
                                 double radius) {
  SurfaceCache* cache = destination.isEmpty() ? nullptr : cacheOf(content, _scale);
  if (!cache) return;
  _groupIsEmpty = false;
  if (cache->shadowRadius != radius) {
    cache->shadow = ShadowMask::make(content.size(), radius, _scale, [cache](cairo_t* cr) {
      cairo_set_source_surface(cr, cache->surface, 0, 0);
      cairo_paint(cr);
    });
    cache->shadowRadius = radius;
  }
  if (!cache->shadow) return;
  cairo_save(_cr);
  CGPoint origin = snapped(CGPoint{destination.minX() + offset.width, destination.minY() + offset.height});
  cairo_translate(_cr, origin.x, origin.y);
  cairo_scale(_cr, destination.size.width / content.size().width, destination.size.height / content.size().height);
  paintMask(_cr, *cache->shadow, {0, 0}, color);
  cairo_restore(_cr);
}

}  // namespace oq
