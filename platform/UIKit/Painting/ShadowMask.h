// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>

#include "CoreGraphics/Geometry.h"

typedef struct _cairo cairo_t;
typedef struct _cairo_surface cairo_surface_t;

namespace oq {

/// A blurred outline as an 8-bit mask.
class ShadowMask {
 public:
  /// Blurs what `draw` paints into a space of `size` points. nullptr if the mask would be too large.
  static std::shared_ptr<const ShadowMask> make(CGSize size, double radius, double scale,
                                                const std::function<void(cairo_t*)>& draw);
  /// The mask of a rectangle with rounded corners; the last few are cached.
  static std::shared_ptr<const ShadowMask> forShape(CGSize size, double cornerRadius, double radius, double scale);

  /// How far a blur of this radius extends beyond the outline, in pixels.
  static int marginFor(double radius, double scale);

  ShadowMask(cairo_surface_t* surface, double margin) : _surface(surface), _margin(margin) {}
  ~ShadowMask();
  ShadowMask(const ShadowMask&) = delete;
  ShadowMask& operator=(const ShadowMask&) = delete;

  cairo_surface_t* surface() const { return _surface; }
  /// How far the blur extends beyond the outline, in points.
  double margin() const { return _margin; }

 private:
  cairo_surface_t* _surface;
  double _margin;
};

}  // namespace oq
