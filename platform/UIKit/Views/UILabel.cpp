// SPDX-License-Identifier: Apache-2.0
#include "UIKit/Views/UILabel.h"

#include <memory>
#include <utility>

namespace oq {

Class* UILabel::staticClass() {
  static Class* registered = registerClass("UILabel", UIView::staticClass());
  return registered;
}

UILabel::UILabel() {
  setUserInteractionEnabled(false);
  setIsAccessibilityElement(true);
  setAccessibilityTraits(UIAccessibilityTraitStaticText);
}

std::string UILabel::accessibilityLabel() const {
  if (const auto& own = ownAccessibilityLabel()) return *own;
  return _text.value_or("");
}

/// Breaking a long text into lines takes long, so the layout is cached.
std::shared_ptr<const TextLayout> UILabel::layoutForWidth(double width) {
  if (!_layout || _layoutWidth != width) {
    _layout = std::make_shared<TextLayout>(attributedText(), _font, width);
    _layoutWidth = width;
  }
  return _layout;
}

void UILabel::textChanged() {
  _layout = nullptr;
  setNeedsDisplay();
}

CGSize UILabel::textSizeForWidth(double width) {
  return _text ? layoutForWidth(width)->size() : CGSize();
}

void UILabel::setText(std::optional<std::string> text) {
  NSParagraphStyle plain{0, _textAlignment};
  if (text == _text && plain == _paragraphStyle) return;
  _text = std::move(text);
  _paragraphStyle = plain;
  textChanged();
}

void UILabel::setAttributedText(NSAttributedString text) {
  if (_text && attributedText() == text) return;
  _text = std::move(text.string);
  _paragraphStyle = text.paragraphStyle;
  textChanged();
}

void UILabel::setFont(UIFont font) {
  if (font == _font) return;
  _font = std::move(font);
  textChanged();
}

void UILabel::setTextColor(UIColor color) {
  if (color == _textColor) return;
  _textColor = color;
  setNeedsDisplay();
}

void UILabel::setNumberOfLines(int lines) {
  if (lines == _numberOfLines) return;
  _numberOfLines = lines;
  setNeedsDisplay();
}

void UILabel::setTextAlignment(NSTextAlignment alignment) {
  _textAlignment = alignment;
  if (alignment == _paragraphStyle.alignment) return;
  _paragraphStyle.alignment = alignment;
  textChanged();
}

std::shared_ptr<LayerContent> UILabel::makeContent(CGSize size) {
  if (!_text || _text->empty()) return nullptr;
  auto layout = layoutForWidth(size.width);
  return std::make_shared<LayerContent>(size, [=, color = _textColor, lines = _numberOfLines](cairo_t* cr) {
    layout->draw(cr, color, {{0, 0}, size}, lines, true);
  });
}

}  // namespace oq
