#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "UIKit/Painting/UIImage.h"
#include "UIKit/Views/UIControl.h"
#include "UIKit/Views/UILabel.h"

namespace oq {

/// Distances from the edges of a rectangle inwards; negative ones lead out of it.
struct UIEdgeInsets {
  double top = 0, left = 0, bottom = 0, right = 0;
  bool operator==(const UIEdgeInsets&) const = default;
};

/// A titled control of the custom type: its title centred, its image fitted, a background that is its own
/// colour. While it is held down it darkens (lightens where its background is dark), unless it has a look of
/// its own for that state; a little so under the pointer. A title that is too long ends in an ellipsis. Main
/// thread only.
class UIButton : public UIControl {
  OQ_CLASS(UIButton)

 public:
  UIButton();

  void setTitle(std::optional<std::string> title, std::uint32_t state);
  std::optional<std::string> titleForState(std::uint32_t state) const;
  /// White where none is set.
  void setTitleColor(UIColor colour, std::uint32_t state);
  UIColor titleColorForState(std::uint32_t state) const;
  void setImage(std::shared_ptr<const UIImage> image, std::uint32_t state);
  std::shared_ptr<const UIImage> imageForState(std::uint32_t state) const;

  /// How far the title stays away from the left and the right edge, in points; 0 by default.
  void setTitlePadding(double padding);
  /// Moves the title, which may come to lie outside the button. It is touched there, too.
  void setTitleEdgeInsets(UIEdgeInsets insets);
  CGRect contentRect(CGRect bounds) const override;
  bool pointInside(CGPoint point) const override;

  /// The title's font and lines, through the label that stands for the title. The label itself is not a subview.
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

  /// The title for the normal state, until a name is set.
  std::string accessibilityLabel() const override;

 protected:
  std::shared_ptr<LayerContent> makeContent(CGSize size) override;

 private:
  /// The room for the title in these bounds, and the part of it that the title takes.
  CGRect titleRoom(CGRect bounds) const;
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
