// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>

#include "Host/DrawList.h"
#include "Host/WindowStage.h"
#include "oqsdk/Export.h"

namespace oq {

/// Memory of the caller into which a frame is painted.
struct OQSDK_EXPORT PixelBuffer {
  static constexpr int largestSide = 32767;
  /// Pixels of 32 bits in the processor's byte order: alpha in the highest byte, then red, green and blue, each
  /// multiplied by alpha. Half-transparent white is 0x80808080.
  std::uint32_t* pixels = nullptr;
  /// In pixels. HostSurface::pixelSize() covers the whole window; a smaller buffer gets the upper left part.
  int width = 0, height = 0;
  /// Bytes from one row to the next: a multiple of 4, and at least 4 * width.
  int stride = 0;
  /// Whether the buffer still contains what the last call painted. If so, only what has changed since then is painted.
  /// Must be false for a new buffer, and for a buffer that the last call did not get (if two buffers take turns).
  bool holdsLastFrame = false;
  /// The pixel behind the library's views: transparent by default, or the host's background if it is opaque.
  std::uint32_t background = 0;

  bool isValid() const;
};

/// In pixels, from the upper left corner of the buffer.
struct PixelRect {
  int x = 0, y = 0, width = 0, height = 0;
  bool isEmpty() const { return width <= 0 || height <= 0; }
  bool operator==(const PixelRect&) const = default;
};

struct PaintedFrame {
  enum class Result {
    Nothing,  ///< the library has nothing to show: the buffer contains only the background
    Same,     ///< the buffer already contained this frame
    Changed
  };
  Result result = Result::Nothing;
  /// The part of the buffer that was written: empty for Same, not empty for Changed; for Nothing both are possible.
  PixelRect damage;
};

/// Paints frames into memory, each time only what has changed since the frame before. Main thread only.
class OQSDK_EXPORT PixelFrames {
 public:
  /// A buffer that violates the rules of PixelBuffer is not changed; the result is then Same.
  PaintedFrame paint(const WindowStage& stage, const PixelBuffer& buffer, double pixelsPerPoint, double time);

 private:
  /// Properties of the last frame. If one of them changes, the whole frame is painted again.
  struct Format {
    int width = 0, height = 0;
    double scale = 0;
    std::uint32_t background = 0;
    bool operator==(const Format&) const = default;
  };
  Format _format;
  std::optional<DrawList> _last;
};

}  // namespace oq
