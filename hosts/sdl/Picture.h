// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

#include "Host/PixelFrames.h"

namespace oq::sdl {

/// The library's pixels over a window, and where they are drawn. Main thread only.
struct Picture {
  std::vector<std::uint32_t> pixels;  ///< premultiplied; empty if there is nothing to show
  int width = 0, height = 0;
  int stride() const { return 4 * width; }
  const std::uint32_t* at(const PixelRect& area) const {
    return pixels.data() + static_cast<std::size_t>(area.y) * static_cast<std::size_t>(width) + area.x;
  }
};

/// Draws a picture over what the program has drawn. A texture is made when it is first needed.
class Target {
 public:
  virtual ~Target() = default;
  /// Draws the picture over the whole window. `damage` is the part that has changed since the last call. Returns
  /// whether it has drawn all of it; if not, the next call must draw everything again.
  virtual bool draw(const Picture& picture, const PixelRect& damage) = 0;
  /// Frees the texture.
  virtual void clear() = 0;
  /// The textures, or their contents, may be gone.
  virtual void texturesLost() {}

  /// How many times a texture has received pixels so far.
  std::uint64_t uploads() const { return _uploads; }

 protected:
  void noteUpload() { ++_uploads; }

 private:
  std::uint64_t _uploads = 0;
};

}  // namespace oq::sdl
