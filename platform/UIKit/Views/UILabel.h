// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "UIKit/Text/TextLayout.h"
#include "UIKit/Views/UIView.h"

namespace oq {

/// Text in one colour and font. Ignores touches by default. Main thread only.
class UILabel : public UIView {
  OQ_CLASS(UILabel)

 public:
  UILabel();

  /// nullopt if no text is set.
  const std::optional<std::string>& text() const { return _text; }
  /// Sets plain text; removes an earlier paragraph style.
  void setText(std::optional<std::string> text);
  void setAttributedText(NSAttributedString text);
  NSAttributedString attributedText() const { return {_text.value_or(""), _paragraphStyle}; }
  const UIFont& font() const { return _font; }
  void setFont(UIFont font);
  UIColor textColor() const { return _textColor; }
  void setTextColor(UIColor color);
  /// 0 for any number; 1 by default.
  int numberOfLines() const { return _numberOfLines; }
  void setNumberOfLines(int lines);
  NSTextAlignment textAlignment() const { return _paragraphStyle.alignment; }
  void setTextAlignment(NSTextAlignment alignment);
  /// The size of the whole text when it is broken into lines at the width; numberOfLines() does not limit it. The
  /// layout is kept, and painted if the label gets that width.
  CGSize textSizeForWidth(double width);

  /// The accessibility label that was set, or else the text.
  std::string accessibilityLabel() const override;

 protected:
  std::shared_ptr<LayerContent> makeContent(CGSize size) override;

 private:
  void textChanged();
  std::shared_ptr<const TextLayout> layoutForWidth(double width);

  std::optional<std::string> _text;
  NSParagraphStyle _paragraphStyle;
  NSTextAlignment _textAlignment = NSTextAlignment::Natural;  ///< the alignment of plain text
  UIFont _font;
  UIColor _textColor = UIColor::blackColor();
  int _numberOfLines = 1;
  std::shared_ptr<const TextLayout> _layout;
  double _layoutWidth = 0;
};

}  // namespace oq
