// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace oq {

/// A colour with straight alpha; components from 0 to 1.
struct UIColor {
  double red = 0, green = 0, blue = 0, alpha = 1;
  bool operator==(const UIColor&) const = default;

  UIColor withAlphaComponent(double a) const { return {red, green, blue, a}; }
  static constexpr UIColor colorWithRed(double red, double green, double blue, double alpha) {
    return {red, green, blue, alpha};
  }
  static constexpr UIColor blackColor() { return {0, 0, 0, 1}; }
  static constexpr UIColor whiteColor() { return {1, 1, 1, 1}; }
  static constexpr UIColor clearColor() { return {0, 0, 0, 0}; }
  static constexpr UIColor redColor() { return {1, 0, 0, 1}; }
  static constexpr UIColor greenColor() { return {0, 1, 0, 1}; }
  static constexpr UIColor lightGrayColor() { return {2.0 / 3, 2.0 / 3, 2.0 / 3, 1}; }
};

}  // namespace oq
