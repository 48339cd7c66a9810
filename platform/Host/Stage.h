#pragma once

#include "CoreGraphics/Geometry.h"
#include "oqsdk/Export.h"

namespace oq {

/// The logical screen that messages are laid out on, and its place in a host's window. It is always 375 points wide, so
/// that fonts, pictures and buttons have the same proportions in every window. Lengths of the stage are in stage
/// points, those of the window in window points.
struct OQSDK_EXPORT Stage {
  static constexpr double width = 375;
  /// Room for the highest card with its close button, which needs 572.
  static constexpr double smallestHeight = 620;
  static constexpr double largestHeight = 812;
  static constexpr double defaultMaximumScale = 1.5;

  CGSize size;       ///< in stage points
  double scale = 1;  ///< window points per stage point
  CGPoint origin;    ///< the upper left corner, in whole window points
  bool operator==(const Stage&) const = default;

  /// The size of a stage that is laid out for such a window; the largest one for a window without a size.
  static CGSize sizeFor(CGSize window);
  /// A stage of this size in the middle of a window: as large as fits, but in a window that is wider than high no
  /// larger than `maximumScale`. Between upright windows (width / height up to 0.6), which have no such limit, and
  /// square ones the limit comes in gradually, so that a title bar makes little difference.
  static Stage in(CGSize window, CGSize size, double maximumScale);

  CGPoint toStage(CGPoint inWindow) const { return {(inWindow.x - origin.x) / scale, (inWindow.y - origin.y) / scale}; }
  CGPoint toWindow(CGPoint inStage) const { return {origin.x + inStage.x * scale, origin.y + inStage.y * scale}; }
  /// The whole window, in stage points.
  CGRect windowInStage(CGSize window) const { return {toStage({}), {window.width / scale, window.height / scale}}; }
  /// The pixels per stage point that pictures are prepared for, on a window with so many pixels per point. Rounded up
  /// to halves: a window that is being resized does not prepare them again for every size.
  double contentScale(double pixelsPerPoint) const;
};

}  // namespace oq
