// SPDX-License-Identifier: Apache-2.0
#include "Host/Stage.h"

#include <cmath>

namespace oq {

namespace {

/// Ratios of a window's width to its height. Up to kUpright the scale is not limited, from kSquare on it is. Between
/// these ratios the limit takes effect gradually.
constexpr double kUpright = 0.6, kSquare = 1;
/// Tolerance for rounding errors in products of lengths and scales.
constexpr double kRounding = 1e-6;

bool isEmpty(CGSize size) {
  return size.width <= 0 || size.height <= 0;
}

double middle(double outer, double inner) {
  return std::max(0.0, std::floor((outer - inner) / 2 + kRounding));
}

}  // namespace

CGSize Stage::sizeFor(CGSize window) {
  if (isEmpty(window)) return {width, largestHeight};
  return {width, std::clamp(width * window.height / window.width, smallestHeight, largestHeight)};
}

Stage Stage::in(CGSize window, CGSize size, double maximumScale) {
  if (isEmpty(window) || isEmpty(size)) return {size, 1, {}};
  const double fitting = std::min(window.width / size.width, window.height / size.height);
  const double limited = std::min(fitting, maximumScale);
  const double wideness = (window.width / window.height - kUpright) / (kSquare - kUpright);
  const double scale = std::lerp(fitting, limited, std::clamp(wideness, 0.0, 1.0));
  return {size, scale, {middle(window.width, size.width * scale), middle(window.height, size.height * scale)}};
}

double Stage::contentScale(double pixelsPerPoint) const {
  return std::ceil(scale * pixelsPerPoint * 2 - kRounding) / 2;
}

}  // namespace oq
