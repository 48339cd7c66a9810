// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <utility>

namespace oq {

/// A font requested by name; if it is not installed, fontconfig's fallback is used.
class UIFont {
 public:
  UIFont() = default;
  static UIFont fontWithName(std::string name, double size) { return UIFont(std::move(name), size); }
  static UIFont systemFontOfSize(double size) { return UIFont("sans-serif", size); }
  static UIFont boldSystemFontOfSize(double size) {
    UIFont font("sans-serif", size);
    font._bold = true;
    return font;
  }

  const std::string& fontName() const { return _name; }
  /// Points.
  double pointSize() const { return _size; }
  bool isBold() const { return _bold; }
  bool operator==(const UIFont&) const = default;

 private:
  UIFont(std::string name, double size) : _name(std::move(name)), _size(size) {}
  std::string _name = "sans-serif";
  double _size = 17;
  bool _bold = false;
};

}  // namespace oq
