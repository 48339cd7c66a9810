// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "sdl/Picture.h"

namespace oq::sdl {

struct GlFunctions;

/// Draws with the current OpenGL context (2.1 or later) or OpenGL ES context (2.0 or later), into the framebuffer that
/// is bound. Our objects belong to the context in which they were made. If another context is current, they count as
/// lost.
class GlTarget : public Target {
 public:
  GlTarget();
  ~GlTarget() override;

  bool draw(const Picture& picture, const PixelRect& damage) override;
  void clear() override;

 private:
  /// Whether our context is current and still has our objects.
  bool hasObjects() const;
  bool makeObjects();
  void upload(const Picture& picture, const PixelRect& damage);

  std::unique_ptr<GlFunctions> _gl;  ///< of _context
  void* _context = nullptr;
  unsigned _texture = 0, _program = 0, _corners = 0, _array = 0;
  int _width = 0, _height = 0;
};

}  // namespace oq::sdl
