// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cairo.h>

#include <memory>

#include "CoreGraphics/Geometry.h"

namespace oq {

class WindowStage;

struct SurfaceRelease {
  void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
};
using Surface = std::unique_ptr<cairo_surface_t, SurfaceRelease>;

/// The stage as it looks at `now`, over the white that stands for the host's own widgets: `size` in points, 32-bit
/// pixels, `scale` of them per point. A surface in an error state when there is no memory for it. Main thread only.
Surface takeScreenshot(const WindowStage& stage, CGSize size, double scale, double now);

}  // namespace oq
