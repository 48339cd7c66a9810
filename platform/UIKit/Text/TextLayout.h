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

/// Text with one paragraph style over its whole length.
struct NSAttributedString {
  std::string string;
  NSParagraphStyle paragraphStyle;
  bool operator==(const NSAttributedString&) const = default;
};

/// A text broken into lines at a width, ready to be measured and drawn again and again. Bytes that are no
/// UTF-8 show as replacement characters. A width that is not positive, or beyond all measure, breaks nothing;
/// a font without a size shows nothing. Texts that no card could show are cut at some ten thousand
/// characters. Any thread, one at a time.
class TextLayout {
 public:
  TextLayout(const NSAttributedString& text, const UIFont& font, double width);
  ~TextLayout();
  TextLayout(const TextLayout&) = delete;
  TextLayout& operator=(const TextLayout&) = delete;

  CGSize size() const { return _size; }
  /// As drawText() below; `rect` is as wide as the layout.
  void draw(cairo_t* cr, UIColor colour, CGRect rect, int numberOfLines, bool centredVertically) const;

 private:
  struct Shown;
  Shown linesThatFit(double height, int numberOfLines) const;
  PangoLayout* shortenedLine(const Shown& shown) const;

  PangoLayout* _layout = nullptr;  ///< nullptr for nothing to show
  CGSize _size;
};

/// The size that the text takes when it is broken at the width; the very layout that drawText() paints. An
/// empty text has no height. Main thread only.
CGSize boundingSizeOfText(const NSAttributedString& text, const UIFont& font, double width);

/// Draws into `rect`, from its top; at most `numberOfLines` lines (0: any number) and no more than the
/// rectangle has room for, the last one shortened with an ellipsis where there are more. With
/// `centredVertically` the block of text is centred in the rectangle.
void drawText(cairo_t* cr, const NSAttributedString& text, const UIFont& font, UIColor colour, CGRect rect,
              int numberOfLines, bool centredVertically);

}  // namespace oq
