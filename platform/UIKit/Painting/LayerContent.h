// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <utility>

#include "CoreGraphics/Geometry.h"

typedef struct _cairo cairo_t;

namespace oq {

/// A recorded drawing of a fixed size. Immutable: a view that changes creates a new one. A painter stores its rendering
/// (a surface, a render node) in `cache`, so the drawing runs once however many frames show it.
class LayerContent {
 public:
  using Draw = std::function<void(cairo_t*)>;
  LayerContent(CGSize size, Draw draw) : _size(size), _draw(std::move(draw)) {}

  CGSize size() const { return _size; }
  /// A number that no other content of this process has or had. The address does not identify a content, because a
  /// later content may get the same address.
  std::uint64_t identity() const { return _identity; }
  void draw(cairo_t* cr) const { _draw(cr); }

  /// The rendering by the painter that used the content last. A painter of another kind, or with another scale,
  /// replaces it.
  struct Cache {
    virtual ~Cache() = default;
  };
  std::unique_ptr<Cache> cache;

 private:
  static inline std::atomic<std::uint64_t> _made = 0;
  const std::uint64_t _identity = ++_made;
  CGSize _size;
  Draw _draw;
};

}  // namespace oq
