// SPDX-License-Identifier: Apache-2.0
#include "UIKit/Controllers/AlertCard.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "UIKit/Views/UILabel.h"

namespace oq {
namespace {

// In points.
constexpr double kWidth = 300, kNarrowest = 120, kMargin = 16, kPadding = 20, kSides = 16, kGap = 6, kButtonHeight = 46,
                 kTitlePadding = 12, kRadius = 14, kHairline = 0.5;
constexpr UIColor kLine = UIColor::colorWithRed(0.78, 0.78, 0.80, 1);
constexpr UIColor kBlue = UIColor::colorWithRed(0, 0.44, 0.92, 1);
constexpr UIColor kRed = UIColor::colorWithRed(0.85, 0.16, 0.13, 1);

/// A card that stays in the centre of its superview.
class AlertCard : public UIView {
 public:
  void superviewDidResize() override { place(); }
  void didMoveToWindow() override { place(); }

 private:
  void place() {
    const auto parent = superview();
    if (!parent) return;
    // Rounded to whole points; otherwise the lines would be blurred.
    const CGSize room = parent->bounds().size, size = bounds().size;
    setFrame(CGRectMake(std::floor((room.width - size.width) / 2), std::floor((room.height - size.height) / 2),
                        size.width, size.height));
  }
};

std::shared_ptr<UILabel> makeText(const std::string& text, const UIFont& font) {
  auto label = makeMainObject<UILabel>();
  label->setFont(font);
  label->setNumberOfLines(0);
  label->setText(text);
  label->setTextAlignment(NSTextAlignment::Center);
  return label;
}

std::shared_ptr<UIView> makeLine(CGRect frame) {
  auto line = makeMainObject<UIView>(frame);
  line->setBackgroundColor(kLine);
  return line;
}

/// Stacks the parts of an alert vertically.
class Builder {
 public:
  explicit Builder(double width) : _width(width) { _content->setBackgroundColor(UIColor::whiteColor()); }

  void addText(const std::string& text, const UIFont& font) {
    if (text.empty()) return;
    auto label = makeText(text, font);
    const double width = _width - 2 * kSides;
    const double height = std::ceil(boundingSizeOfText(label->attributedText(), font, width).height);
    label->setFrame(CGRectMake(kSides, _bottom, width, height));
    _content->addSubview(label);
    _bottom += height + kGap;
  }

  void addButtons(const std::vector<std::shared_ptr<UIButton>>& buttons) {
    _bottom += kPadding - kGap;
    const bool sideBySide = buttons.size() == 2;
    for (std::size_t index = 0; index < buttons.size(); ++index) {
      const bool isSecond = sideBySide && index == 1;
      if (isSecond) _bottom -= kButtonHeight;
      const double width = sideBySide ? _width / 2 : _width;
      buttons[index]->setFrame(CGRectMake(isSecond ? width : 0, _bottom, width, kButtonHeight));
      _content->addSubview(buttons[index]);
      if (!isSecond) _lines.push_back(makeLine(CGRectMake(0, _bottom, _width, kHairline)));
      if (isSecond) _lines.push_back(makeLine(CGRectMake(width, _bottom, kHairline, kButtonHeight)));
      _bottom += kButtonHeight;
    }
  }

  std::shared_ptr<UIView> card() {
    // The lines are added last, so that a highlighted button does not cover them.
    for (const auto& line : _lines) _content->addSubview(line);
    _content->setFrame(CGRectMake(0, 0, _width, _bottom));
    _content->layer().setCornerRadius(kRadius);
    _content->setClipsToBounds(true);
    // A clipping view has no shadow, so the outer view casts it.
    auto outer = makeMainObject<AlertCard>();
    outer->setFrame(_content->frame());
    outer->setBackgroundColor(UIColor::whiteColor());
    outer->layer().setCornerRadius(kRadius);
    outer->layer().setShadowOpacity(0.25);
    outer->layer().setShadowRadius(16);
    outer->layer().setShadowOffset({0, 6});
    outer->addSubview(_content);
    return outer;
  }

 private:
  const double _width;
  double _bottom = kPadding;
  std::shared_ptr<UIView> _content = makeMainObject<UIView>();
  std::vector<std::shared_ptr<UIView>> _lines;
};

}  // namespace

std::shared_ptr<UIButton> makeAlertButton(const std::optional<std::string>& title, UIAlertActionStyle style,
                                          std::function<void()> action) {
  auto button = makeMainObject<UIButton>();
  button->setBackgroundColor(UIColor::whiteColor());
  button->setTitle(title, UIControlStateNormal);
  button->setTitleColor(style == UIAlertActionStyle::Destructive ? kRed : kBlue, UIControlStateNormal);
  button->setTitlePadding(kTitlePadding);
  const bool isBold = style == UIAlertActionStyle::Cancel;
  button->titleLabel().setFont(isBold ? UIFont::boldSystemFontOfSize(17) : UIFont::systemFontOfSize(17));
  button->addTarget([action = std::move(action)](UIControl&) { action(); }, UIControlEventTouchUpInside);
  return button;
}

std::shared_ptr<UIView> makeAlertCard(const std::string& title, const std::string& message,
                                      const std::vector<std::shared_ptr<UIButton>>& buttons, double pageWidth) {
  Builder builder(std::max(kNarrowest, std::min(kWidth, std::floor(pageWidth - 2 * kMargin))));
  builder.addText(title, UIFont::boldSystemFontOfSize(17));
  builder.addText(message, UIFont::systemFontOfSize(14));
  builder.addButtons(buttons);
  return builder.card();
}

}  // namespace oq
