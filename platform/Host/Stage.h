// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "CoreGraphics/Geometry.h"
#include "oqsdk/Export.h"

namespace oq {

/// The logical screen on which messages are laid out, and its position in a host's window. It is always 375 points
/// wide, so fonts, pictures and buttons have the same proportions in every window. Lengths on the stage are in stage
/// points, lengths in the window are in window points.
struct OQSDK_EXPORT Stage {
  static constexpr double width = 375;
  /// In stage points. Enough for the highest card with its close button, which needs 572.
  static constexpr double smallestHeight = 620;
  static constexpr double largestHeight = 812;
  static constexpr double defaultMaximumScale = 1.5;

  CGSize size;       ///< in stage points
  double scale = 1;  ///< window points per stage point
  CGPoint origin;    ///< the upper left corner, in whole window points
  bool operator==(const Stage&) const = default;

  /// The stage size for a window of this size; the largest one for an empty window.
  static CGSize sizeFor(CGSize window);
  /// A stage of this size, centred in a window and as large as fits. In a window that is wider than high the scale is
  /// limited to `maximumScale`. For upright windows (width / height up to 0.6) there is no limit. Between upright and
  /// square windows the limit comes in gradually, so that a title bar makes little difference.
  static Stage in(CGSize window, CGSize size, double maximumScale);

  CGPoint toStage(CGPoint inWindow) const { return {(inWindow.x - origin.x) / scale, (inWindow.y - origin.y) / scale}; }
  CGPoint toWindow(CGPoint inStage) const { return {origin.x + inStage.x * scale, origin.y + inStage.y * scale}; }
  /// The whole window, in stage points.
  CGRect windowInStage(CGSize window) const { return {toStage({}), {window.width / scale, window.height / scale}}; }
  /// The pixels per stage point that pictures are prepared for, given the window's pixels per point. Rounded up to
  /// halves, so that pictures are not prepared again for every size while a window is being resized.
  double contentScale(double pixelsPerPoint) const;
};

}  // namespace oq
