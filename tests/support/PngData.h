// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cairo.h>

#include "Foundation/Values/Data.h"

namespace oq::test {

/// Encodes the surface as PNG, and destroys the surface.
inline Data pngData(cairo_surface_t* surface) {
  Data data;
  auto append = [](void* to, const unsigned char* bytes, unsigned length) {
    auto& target = *static_cast<Data*>(to);
    target.insert(target.end(), bytes, bytes + length);
    return CAIRO_STATUS_SUCCESS;
  };
  cairo_surface_write_to_png_stream(surface, append, &data);
  cairo_surface_destroy(surface);
  return data;
}

}  // namespace oq::test
