#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "UIKit/UIControl.h"
#include "UIKit/UIImage.h"
#include "UIKit/UILabel.h"

namespace oq {

/// A titled control of the custom type: its title centred, its image fitted, a background that is its own
/// colour. While it is held down it darkens, unless it has a look of its own for that state. Main thread
/// only.
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

  /// The title's font, through the label that stands for the title. The label itself is not a subview.
  class TitleLabel {
   public:
    explicit TitleLabel(UIButton& button) : _button(button) {}
    void setFont(UIFont font);
    const UIFont& font() const { return _font; }

   private:
    UIButton& _button;
    UIFont _font = UIFont::systemFontOfSize(18);
  };
  TitleLabel& titleLabel() { return _titleLabel; }

 protected:
  std::shared_ptr<LayerContent> makeContent(CGSize size) override;

 private:
  std::map<std::uint32_t, std::string> _titles;
  std::map<std::uint32_t, UIColor> _titleColors;
  std::map<std::uint32_t, std::shared_ptr<const UIImage>> _images;
  TitleLabel _titleLabel{*this};
};

}  // namespace oq
