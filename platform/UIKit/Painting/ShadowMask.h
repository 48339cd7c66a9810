// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>

#include "CoreGraphics/Geometry.h"

typedef struct _cairo cairo_t;
typedef struct _cairo_surface cairo_surface_t;

namespace oq {

/// The blurred silhouette of a shape or content as an 8-bit alpha mask, with which a shadow is painted. Main thread
/// only.
class ShadowMask {
 public:
  /// Blurs what `draw` paints into an area of `size` points. `radius` is in points, `scale` in pixels per point.
  /// nullptr if the mask would be too large.
  static std::shared_ptr<const ShadowMask> make(CGSize size, double radius, double scale,
                                                const std::function<void(cairo_t*)>& draw);
  /// The mask of a rectangle with rounded corners. The last few of these masks are cached.
  static std::shared_ptr<const ShadowMask> forShape(CGSize size, double cornerRadius, double radius, double scale);

  /// How far a blur of this radius extends beyond the silhouette, in pixels.
  static int marginFor(double radius, double scale);

  ShadowMask(cairo_surface_t* surface, double margin) : _surface(surface), _margin(margin) {}
  ~ShadowMask();
  ShadowMask(const ShadowMask&) = delete;
  ShadowMask& operator=(const ShadowMask&) = delete;

  cairo_surface_t* surface() const { return _surface; }
  /// How far the blur extends beyond the silhouette, in points.
  double margin() const { return _margin; }

 private:
  cairo_surface_t* _surface;
  double _margin;
};

}  // namespace oq
