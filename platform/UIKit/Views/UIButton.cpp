// SPDX-License-Identifier: Apache-2.0
#include "UIKit/Views/UIButton.h"

#include <cairo.h>

#include <algorithm>
#include <utility>

namespace oq {
namespace {

// Opacity of the shade over a pressed button, and over a button under the pointer.
constexpr double kHeldDown = 0.18, kHovered = 0.06;
// The shade is black, or white on backgrounds with a luminance below kDark, where black would be hardly visible. White
// needs kWhiteFactor times the opacity of black.
constexpr double kDark = 0.15, kWhiteFactor = 1.6;

/// The value for the state, or else for the normal state.
template <class T>
const T* lookUp(const std::map<std::uint32_t, T>& values, std::uint32_t state) {
  auto found = values.find(state);
  if (found == values.end()) found = values.find(UIControlStateNormal);
  return found == values.end() ? nullptr : &found->second;
}

template <class T>
bool has(const std::map<std::uint32_t, T>& values, std::uint32_t state) {
  return values.find(state) != values.end();
}

CGRect fitted(CGSize image, CGSize room) {
  if (image.width <= 0 || image.height <= 0) return {};
  double scale = std::min(room.width / image.width, room.height / image.height);
  CGSize size{image.width * scale, image.height * scale};
  return {{(room.width - size.width) / 2, (room.height - size.height) / 2}, size};
}

CGRect unionOf(CGRect a, CGRect b) {
  const double x = std::min(a.minX(), b.minX()), y = std::min(a.minY(), b.minY());
  return CGRectMake(x, y, std::max(a.maxX(), b.maxX()) - x, std::max(a.maxY(), b.maxY()) - y);
}

double luminance(UIColor color) {
  return 0.2126 * color.red + 0.7152 * color.green + 0.0722 * color.blue;
}

UIColor shadeOver(UIColor background, double opacity) {
  const bool isDark = background.alpha > 0.5 && luminance(background) < kDark;
  return isDark ? UIColor::whiteColor().withAlphaComponent(kWhiteFactor * opacity)
                : UIColor::blackColor().withAlphaComponent(opacity);
}

void paintOver(cairo_t* cr, UIColor color, double opacity, cairo_operator_t how) {
  cairo_set_operator(cr, how);
  cairo_set_source_rgba(cr, color.red, color.green, color.blue, opacity);
  cairo_paint(cr);
}

}  // namespace

Class* UIButton::staticClass() {
  static Class* registered = registerClass("UIButton", UIControl::staticClass());
  return registered;
}

UIButton::UIButton() {
  setIsAccessibilityElement(true);
  setAccessibilityTraits(UIAccessibilityTraitButton);
}

std::string UIButton::accessibilityLabel() const {
  if (const auto& own = ownAccessibilityLabel()) return *own;
  return titleForState(UIControlStateNormal).value_or("");
}

void UIButton::TitleLabel::setFont(UIFont font) {
  if (font == _font) return;
  _font = std::move(font);
  _button.setNeedsDisplay();
}

void UIButton::TitleLabel::setNumberOfLines(int lines) {
  if (lines == _lines) return;
  _lines = lines;
  _button.setNeedsDisplay();
}

void UIButton::TitleLabel::setTextAlignment(NSTextAlignment alignment) {
  if (alignment == _alignment) return;
  _alignment = alignment;
  _button.setNeedsDisplay();
}

void UIButton::setTitlePadding(double padding) {
  if (padding == _titlePadding) return;
  _titlePadding = padding;
  setNeedsDisplay();
}

void UIButton::setTitleEdgeInsets(UIEdgeInsets insets) {
  if (insets == _titleInsets) return;
  _titleInsets = insets;
  setNeedsDisplay();
}

/// If the insets leave no height, the area becomes a line on which the title is centred.
CGRect UIButton::titleArea(CGRect bounds) const {
  const UIEdgeInsets& in = _titleInsets;
  CGRect area =
      CGRectMake(bounds.minX() + in.left, bounds.minY() + in.top, std::max(0.0, bounds.size.width - in.left - in.right),
                 bounds.size.height - in.top - in.bottom);
  if (area.size.height < 0) area = CGRectMake(area.minX(), area.center().y, area.size.width, 0);
  return area;
}

CGRect UIButton::titleRect(CGRect bounds) const {
  const std::string title = titleForState(state()).value_or("");
  const CGRect area = titleArea(bounds);
  if (title.empty()) return {};
  const double height = boundingSizeOfText({title, {}}, _titleLabel.font(), area.size.width).height;
  return CGRectMake(area.minX(), area.center().y - height / 2, area.size.width, height);
}

CGRect UIButton::contentRect(CGRect bounds) const {
  return _titleInsets == UIEdgeInsets{} ? bounds : unionOf(bounds, titleRect(bounds));
}

bool UIButton::pointInside(CGPoint point) const {
  return contentRect(bounds()).contains(point);
}

std::uint32_t UIButton::state() const {
  if (!isEnabled()) return UIControlStateDisabled;
  return isHighlighted() ? UIControlStateHighlighted : UIControlStateNormal;
}

void UIButton::setTitle(std::optional<std::string> title, std::uint32_t state) {
  if (title) {
    _titles[state] = std::move(*title);
  } else {
    _titles.erase(state);
  }
  setNeedsDisplay();
}

std::optional<std::string> UIButton::titleForState(std::uint32_t state) const {
  const std::string* title = lookUp(_titles, state);
  return title ? std::optional(*title) : std::nullopt;
}

void UIButton::setTitleColor(UIColor color, std::uint32_t state) {
  _titleColors[state] = color;
  setNeedsDisplay();
}

UIColor UIButton::titleColorForState(std::uint32_t state) const {
  const UIColor* color = lookUp(_titleColors, state);
  return color ? *color : UIColor::whiteColor();
}

void UIButton::setImage(std::shared_ptr<const UIImage> image, std::uint32_t state) {
  _images[state] = std::move(image);
  setNeedsDisplay();
}

std::shared_ptr<const UIImage> UIButton::imageForState(std::uint32_t state) const {
  const auto* image = lookUp(_images, state);
  return image ? *image : nullptr;
}

std::shared_ptr<LayerContent> UIButton::makeContent(CGSize size) {
  const std::uint32_t look = state();
  std::string title = titleForState(look).value_or("");
  auto image = imageForState(look);
  bool ownLook = has(_titles, look) || has(_titleColors, look) || has(_images, look);
  double shaded = isHovered() && look != UIControlStateDisabled ? kHovered : 0;
  if (look == UIControlStateHighlighted && !ownLook) shaded = kHeldDown;
  if (title.empty() && !image && shaded == 0) return nullptr;

  const CGRect bounds{{0, 0}, size}, painted = contentRect(bounds);
  const bool isMoved = painted != bounds;
  const CGRect padded = CGRectMake(_titlePadding, 0, std::max(0.0, size.width - 2 * _titlePadding), size.height);
  const CGRect area = isMoved ? titleRect(bounds) : padded;
  NSParagraphStyle style;
  style.alignment = _titleLabel.textAlignment();
  auto text = std::make_shared<TextLayout>(NSAttributedString{title, style}, _titleLabel.font(), area.size.width);
  const UIColor shade = shadeOver(backgroundColor(), shaded);
  return std::make_shared<LayerContent>(painted.size,
                                        [=, lines = _titleLabel.numberOfLines(), color = titleColorForState(look),
                                         background = backgroundColor().alpha](cairo_t* cr) {
                                          cairo_translate(cr, -painted.minX(), -painted.minY());
                                          if (image) drawImage(cr, *image, fitted(image->size(), size));
                                          text->draw(cr, color, area, lines, true);
                                          if (shaded == 0) return;
                                          // The background is not a part of this content. So the shade is painted on
                                          // top of the title and the image, and below them where the background is
                                          // visible.
                                          paintOver(cr, shade, shade.alpha, CAIRO_OPERATOR_ATOP);
                                          paintOver(cr, shade, shade.alpha * background, CAIRO_OPERATOR_DEST_OVER);
                                        });
}

}  // namespace oq
