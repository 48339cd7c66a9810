#include "UIKit/UIButton.h"

#include <cairo.h>

#include <algorithm>
#include <utility>

namespace oq {
namespace {

constexpr double kHeldDown = 0.18;  // how much black lies over a button that is held down

/// The value of the state, else that of the normal state.
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

}  // namespace

Class* UIButton::staticClass() {
  static Class* registered = registerClass("UIButton", UIControl::staticClass());
  return registered;
}

UIButton::UIButton() = default;

void UIButton::TitleLabel::setFont(UIFont font) {
  if (font == _font) return;
  _font = std::move(font);
  _button.setNeedsDisplay();
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

void UIButton::setTitleColor(UIColor colour, std::uint32_t state) {
  _titleColors[state] = colour;
  setNeedsDisplay();
}

UIColor UIButton::titleColorForState(std::uint32_t state) const {
  const UIColor* colour = lookUp(_titleColors, state);
  return colour ? *colour : UIColor::whiteColor();
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
  std::uint32_t state = !isEnabled()      ? UIControlStateDisabled
                        : isHighlighted() ? UIControlStateHighlighted
                                          : UIControlStateNormal;
  std::string title = titleForState(state).value_or("");
  auto image = imageForState(state);
  bool ownLook = has(_titles, state) || has(_titleColors, state) || has(_images, state);
  bool dimmed = state == UIControlStateHighlighted && !ownLook;
  if (title.empty() && !image && !dimmed) return nullptr;

  NSParagraphStyle centred;
  centred.alignment = NSTextAlignment::Center;
  auto text =
      std::make_shared<TextLayout>(NSAttributedString{title, centred}, _titleLabel.font(), size.width);
  UIColor shade = UIColor::blackColor().withAlphaComponent(kHeldDown);
  UIColor backgroundShade = shade.withAlphaComponent(kHeldDown * backgroundColor().alpha);
  return std::make_shared<LayerContent>(size, [=, colour = titleColorForState(state)](cairo_t* cr) {
    CGRect bounds{{0, 0}, size};
    if (image) drawImage(cr, *image, fitted(image->size(), size));
    text->draw(cr, colour, bounds, 1, true);
    if (!dimmed) return;
    // What is painted darkens by the shade; where the background shows through, the shade itself is painted.
    cairo_set_operator(cr, CAIRO_OPERATOR_ATOP);
    cairo_set_source_rgba(cr, 0, 0, 0, shade.alpha);
    cairo_paint(cr);
    cairo_set_operator(cr, CAIRO_OPERATOR_DEST_OVER);
    cairo_set_source_rgba(cr, 0, 0, 0, backgroundShade.alpha);
    cairo_paint(cr);
  });
}

}  // namespace oq
