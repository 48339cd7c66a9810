#pragma once

#include <algorithm>
#include <cmath>

#include "CoreGraphics/Geometry.h"

namespace oq {

/// The shape that the library's windows are drawn for.
constexpr double referenceWidth = 590.5;
constexpr double referenceHeight = 1274.5;

/// Beyond this ratio of width to height the button below a picture (1.32 widths high, centred, with a button
/// of 0.07 widths half a button beneath it) no longer fits, so the area counts as wide.
constexpr double widestUpright = 0.65;

/// The part of a content area that the library's windows fill: all of it while it is upright, otherwise a
/// centred column of the reference shape. Whole points, so that the column and what lies beside it meet
/// without a seam.
inline CGRect stageIn(double width, double height) {
  if (width <= height * widestUpright) return CGRectMake(0, 0, width, height);
  double column = std::min(width, std::round(height * referenceWidth / referenceHeight));
  return CGRectMake(std::floor((width - column) / 2), 0, column, height);
}

}  // namespace oq
