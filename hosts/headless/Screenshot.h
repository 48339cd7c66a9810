// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cairo.h>

#include <memory>

#include "CoreGraphics/Geometry.h"

namespace oq {

class HostSurface;

struct SurfaceRelease {
  void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
};
using Screenshot = std::unique_ptr<cairo_surface_t, SurfaceRelease>;

/// Paints the window as it looks at `now` (seconds on the animation clock), over white in place of the host's own
/// widgets. `size` is in points; the surface has 32-bit pixels, `scale` of them per point. If memory runs out, the
/// surface is in cairo's error state. Main thread only.
Screenshot takeScreenshot(HostSurface& window, CGSize size, double scale, double now);

}  // namespace oq
