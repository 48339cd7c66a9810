// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "CoreGraphics/Color.h"
#include "CoreGraphics/Geometry.h"
#include "UIKit/Text/UIFont.h"

typedef struct _cairo cairo_t;
typedef struct _PangoLayout PangoLayout;

namespace oq {

enum class NSTextAlignment { Left = 0, Center = 1, Right = 2, Justified = 3, Natural = 4 };

struct NSParagraphStyle {
  double lineSpacing = 0;  ///< points between two lines
  NSTextAlignment alignment = NSTextAlignment::Natural;
  bool operator==(const NSParagraphStyle&) const = default;
};

/// A string with one paragraph style.
struct NSAttributedString {
  std::string string;
  NSParagraphStyle paragraphStyle;
  bool operator==(const NSAttributedString&) const = default;
};

/// Text broken into lines at a width, ready to be measured and drawn repeatedly. Invalid UTF-8 is shown as replacement
/// characters. A width that is not positive or extremely large means no line breaks; a font of size 0 shows nothing.
/// Text that is too long for any card is cut; at usual font sizes, tens of thousands of bytes remain. May be used from
/// any thread, but not from two at the same time.
class TextLayout {
 public:
  TextLayout(const NSAttributedString& text, const UIFont& font, double width);
  ~TextLayout();
  TextLayout(const TextLayout&) = delete;
  TextLayout& operator=(const TextLayout&) = delete;

  CGSize size() const { return _size; }
  /// Like drawText() below; `rect` must have the layout's width.
  void draw(cairo_t* cr, UIColor color, CGRect rect, int numberOfLines, bool centeredVertically) const;

 private:
  struct Shown;
  Shown linesThatFit(double height, int numberOfLines) const;
  PangoLayout* shortenedLine(const Shown& shown) const;

  PangoLayout* _layout = nullptr;  ///< nullptr if there is nothing to show
  CGSize _size;
};

/// The size of the text when it is broken into lines at the width; drawText() breaks the lines in the same way. An
/// empty string has no height. Main thread only.
CGSize boundingSizeOfText(const NSAttributedString& text, const UIFont& font, double width);

/// Draws into `rect`, starting at its top: at most `numberOfLines` lines (0: any number), and only lines that fit, but
/// at least one. If there are more lines, the last drawn one ends in an ellipsis. With `centeredVertically` the text is
/// centred in the rectangle.
void drawText(cairo_t* cr, const NSAttributedString& text, const UIFont& font, UIColor color, CGRect rect,
              int numberOfLines, bool centeredVertically);

}  // namespace oq
