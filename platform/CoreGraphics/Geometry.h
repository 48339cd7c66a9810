// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>

namespace oq {

/// Geometry in points; y grows downwards.
struct CGPoint {
  double x = 0, y = 0;
  bool operator==(const CGPoint&) const = default;
};
struct CGSize {
  double width = 0, height = 0;
  bool operator==(const CGSize&) const = default;
};
struct CGRect {
  CGPoint origin;
  CGSize size;
  bool operator==(const CGRect&) const = default;

  double minX() const { return origin.x; }
  double minY() const { return origin.y; }
  double maxX() const { return origin.x + size.width; }
  double maxY() const { return origin.y + size.height; }
  CGPoint center() const { return {origin.x + size.width / 2, origin.y + size.height / 2}; }
  bool isEmpty() const { return size.width <= 0 || size.height <= 0; }
  /// The left and top edges belong to the rectangle, the right and bottom ones do not.
  bool contains(CGPoint p) const { return p.x >= minX() && p.x < maxX() && p.y >= minY() && p.y < maxY(); }
  CGRect intersection(const CGRect& other) const {
    double x = std::max(minX(), other.minX()), y = std::max(minY(), other.minY());
    double right = std::min(maxX(), other.maxX()), bottom = std::min(maxY(), other.maxY());
    return {{x, y}, {std::max(0.0, right - x), std::max(0.0, bottom - y)}};
  }
};

inline CGRect CGRectMake(double x, double y, double width, double height) {
  return {{x, y}, {width, height}};
}
inline CGPoint CGPointMake(double x, double y) {
  return {x, y};
}
inline CGSize CGSizeMake(double width, double height) {
  return {width, height};
}

}  // namespace oq
