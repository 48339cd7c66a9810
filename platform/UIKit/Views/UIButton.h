// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "UIKit/Painting/UIImage.h"
#include "UIKit/Views/UIControl.h"
#include "UIKit/Views/UILabel.h"

namespace oq {

/// Distances from the edges of a rectangle, inwards; negative values extend it.
struct UIEdgeInsets {
  double top = 0, left = 0, bottom = 0, right = 0;
  bool operator==(const UIEdgeInsets&) const = default;
};

/// A control with a centred title, a fitted image and the view's background colour. While pressed it darkens (or
/// lightens on a dark background), unless it has its own appearance for the highlighted state. While the pointer is
/// over the button, it darkens or lightens slightly. A title that is too long ends in an ellipsis. Main thread only.
class UIButton : public UIControl {
  OQ_CLASS(UIButton)

 public:
  UIButton();

  void setTitle(std::optional<std::string> title, std::uint32_t state);
  std::optional<std::string> titleForState(std::uint32_t state) const;
  /// White by default.
  void setTitleColor(UIColor color, std::uint32_t state);
  UIColor titleColorForState(std::uint32_t state) const;
  void setImage(std::shared_ptr<const UIImage> image, std::uint32_t state);
  std::shared_ptr<const UIImage> imageForState(std::uint32_t state) const;

  /// Minimum distance of the title from the left and right edges, in points; 0 by default.
  void setTitlePadding(double padding);
  /// Moves the title beyond the bounds of the button. Touches on the title then belong to the button, too. Insets with
  /// which the title stays inside the bounds have no effect.
  void setTitleEdgeInsets(UIEdgeInsets insets);
  CGRect contentRect(CGRect bounds) const override;
  bool pointInside(CGPoint point) const override;

  /// Gives access to the title's font, alignment and number of lines. Not a subview.
  class TitleLabel {
   public:
    explicit TitleLabel(UIButton& button) : _button(button) {}
    void setFont(UIFont font);
    const UIFont& font() const { return _font; }
    /// 0 for any number; 1 by default.
    void setNumberOfLines(int lines);
    int numberOfLines() const { return _lines; }
    void setTextAlignment(NSTextAlignment alignment);
    NSTextAlignment textAlignment() const { return _alignment; }

   private:
    UIButton& _button;
    int _lines = 1;
    NSTextAlignment _alignment = NSTextAlignment::Center;
    UIFont _font = UIFont::systemFontOfSize(18);
  };
  TitleLabel& titleLabel() { return _titleLabel; }

  /// The accessibility label that was set, or else the title for the normal state.
  std::string accessibilityLabel() const override;

 protected:
  std::shared_ptr<LayerContent> makeContent(CGSize size) override;

 private:
  /// The area that the insets leave for the title, and the rectangle of the title, vertically centred on that area.
  CGRect titleArea(CGRect bounds) const;
  CGRect titleRect(CGRect bounds) const;
  std::uint32_t state() const;

  std::map<std::uint32_t, std::string> _titles;
  std::map<std::uint32_t, UIColor> _titleColors;
  std::map<std::uint32_t, std::shared_ptr<const UIImage>> _images;
  UIEdgeInsets _titleInsets;
  double _titlePadding = 0;
  TitleLabel _titleLabel{*this};
};

}  // namespace oq
