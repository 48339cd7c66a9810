// SPDX-License-Identifier: Apache-2.0
#include "UI/OQPopWindow.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "Foundation/Files/Bundle.h"
#include "Foundation/Values/Format.h"
#include "UI/OQPopWindowMetrics.h"
#include "UIKit/Painting/UIImage.h"
#include "UIKit/Windows/UIScreen.h"

namespace oq {

namespace {

// Labels for assistive technology, for parts without text.
constexpr const char* kWindowName = "消息";
constexpr const char* kPictureName = "图片";
constexpr const char* kCloseName = "关闭";

constexpr UIColor kTextColor = UIColor::colorWithRed(0.26666666666666666, 0.26666666666666666, 0.26666666666666666, 1);

/// The close button's picture is smaller than a finger, so its touch area is larger. It does not extend over the card,
/// where a press has another meaning.
class CloseButton : public UIButton {
 public:
  bool pointInside(CGPoint point) const override {
    if (UIButton::pointInside(point)) return true;
    const CGPoint center = bounds().center();
    constexpr double reach = kTouchSide / 2;
    const bool isNear = std::abs(point.x - center.x) <= reach && std::abs(point.y - center.y) <= reach;
    return isNear && !isOverNeighbour(point);
  }

 private:
  static constexpr double kTouchSide = 44;  // points

  bool isOverNeighbour(CGPoint point) const {
    const auto window = superview();
    if (!window) return false;
    const CGPoint there{frame().minX() + point.x, frame().minY() + point.y};
    return std::any_of(window->subviews().begin(), window->subviews().end(), [&](const auto& view) {
      return view.get() != this && !view->fillsSurroundings() && view->frame().contains(there);
    });
  }
};

std::shared_ptr<const UIImage> closeImage() {
  auto file = pathForResource("OQSDK", "oq_close@2x.png");
  return file ? UIImage::imageWithContentsOfFile(*file) : nullptr;
}

}  // namespace

Class* OQPopWindow::staticClass() {
  static Class* registered = registerClass("OQPopWindow", UIView::staticClass());
  return registered;
}

OQPopWindow::OQPopWindow() : UIView(UIScreen::mainScreen().bounds()) {
  setAccessibilityViewIsModal(true);
}

OQPopWindow::OQPopWindow(CGRect) : OQPopWindow() {}

std::shared_ptr<OQPopWindow> OQPopWindow::self() {
  return std::static_pointer_cast<OQPopWindow>(shared_from_this());
}

const std::shared_ptr<UIView>& OQPopWindow::backgroundView() {
  if (!_backgroundView) {
    _backgroundView = makeMainObject<UIView>(UIScreen::mainScreen().bounds());
    _backgroundView->setBackgroundColor(UIColor::blackColor().withAlphaComponent(0.3));
    // If the host's window is wider or higher than the stage (the logical screen), the area around the stage is dimmed,
    // too.
    _backgroundView->setFillsSurroundings(true);
  }
  return _backgroundView;
}

const std::shared_ptr<UIView>& OQPopWindow::contentView() {
  if (!_contentView) {
    _contentView = makeMainObject<UIView>();
    _contentView->setBackgroundColor(UIColor::whiteColor());
    _contentView->setClipsToBounds(true);
    _contentView->layer().setCornerRadius(OQPopWindowMetrics().cornerRadius());
  }
  return _contentView;
}

const std::shared_ptr<UIImageView>& OQPopWindow::imgView() {
  if (!_imgView) {
    _imgView = makeMainObject<UIImageView>();
    _imgView->setBackgroundColor(UIColor::whiteColor());
    _imgView->setContentMode(UIViewContentMode::ScaleAspectFit);
    _imgView->setAccessibilityLabel(kPictureName);
    _imgView->setAccessibilityTraits(UIAccessibilityTraitImage);
  }
  return _imgView;
}

const std::shared_ptr<OQWebController>& OQPopWindow::webController() {
  if (!_webController) _webController = makeMainObject<OQWebController>(std::string(OQSDK_WEB_WINDOW_URL));
  return _webController;
}

std::shared_ptr<OQLabel> OQPopWindow::textLabel(double fontSize, std::shared_ptr<OQTextAttribute> attribute) {
  auto label = makeMainObject<OQLabel>();
  label->setNumberOfLines(0);
  label->setTextColor(kTextColor);
  label->setBackgroundColor(UIColor::whiteColor());
  label->setFont(popWindowFont(fontSize));
  label->setAttribute(std::move(attribute));
  return label;
}

const std::shared_ptr<OQLabel>& OQPopWindow::titleLbl() {
  if (!_titleLbl) {
    _titleLbl = textLabel(OQPopWindowMetrics().titleFontSize(), _data ? _data->title() : nullptr);
    _titleLbl->setAccessibilityTraits(UIAccessibilityTraitHeader);
  }
  return _titleLbl;
}

const std::shared_ptr<OQLabel>& OQPopWindow::textLbl() {
  if (!_textLbl) _textLbl = textLabel(OQPopWindowMetrics().bodyFontSize(), _data ? _data->content() : nullptr);
  return _textLbl;
}

const std::shared_ptr<UIScrollView>& OQPopWindow::textScrollView() {
  if (!_textScrollView) {
    _textScrollView = makeMainObject<UIScrollView>();
    _textScrollView->setShowsHorizontalScrollIndicator(false);
    _textScrollView->setShowsVerticalScrollIndicator(true);
  }
  return _textScrollView;
}

/// The action is added where the button is created, so that a second layout does not add it twice.
std::shared_ptr<OQButton> OQPopWindow::actionButton(std::int64_t eventType) {
  auto button = makeMainObject<OQButton>();
  button->setEventType(eventType);
  auto tapped = [weak = weakSelf()](UIControl& control) {
    if (auto window = weak.lock()) window->jumpOut(std::static_pointer_cast<OQButton>(control.shared_from_this()));
  };
  button->addTarget(std::move(tapped), UIControlEventTouchUpInside);
  return button;
}

// Intentional: from left to right the codes are 4, 6, 5.
const std::shared_ptr<OQButton>& OQPopWindow::leftBtn() {
  if (!_leftBtn) _leftBtn = actionButton(OQWindowActionLeftButton);
  return _leftBtn;
}

const std::shared_ptr<OQButton>& OQPopWindow::middleBtn() {
  if (!_middleBtn) _middleBtn = actionButton(OQWindowActionMiddleButton);
  return _middleBtn;
}

const std::shared_ptr<OQButton>& OQPopWindow::rightBtn() {
  if (!_rightBtn) _rightBtn = actionButton(OQWindowActionRightButton);
  return _rightBtn;
}

const std::shared_ptr<UIButton>& OQPopWindow::closeBtn() {
  if (_closeBtn) return _closeBtn;
  _closeBtn = makeMainObject<CloseButton>();
  auto image = closeImage();
  _closeBtn->setImage(image, UIControlStateNormal);
  _closeBtn->setImage(image, UIControlStateHighlighted);
  _closeBtn->setAccessibilityLabel(kCloseName);
  _closeBtn->layer().setShadowColor(UIColor::blackColor().withAlphaComponent(0.7));
  _closeBtn->layer().setShadowOffset({-1, 1});
  _closeBtn->layer().setShadowOpacity(0.7);
  auto tapped = [weak = weakSelf()](UIControl&) {
    if (auto window = weak.lock()) window->_close();
  };
  _closeBtn->addTarget(std::move(tapped), UIControlEventTouchUpInside);
  return _closeBtn;
}

/// With style 4 (web page) the content is not used, because it is HTML.
std::string OQPopWindow::accessibilityLabel() const {
  if (!_data) return kWindowName;
  for (const auto& attribute : {_data->title(), _data->style() == 4 ? nullptr : _data->content()}) {
    if (!attribute || attribute->text().is_null()) continue;
    std::string text = descriptionOf(attribute->text());
    if (text.find_first_not_of(" \t\r\n") != std::string::npos) return text;
  }
  return kWindowName;
}

bool OQPopWindow::accessibilityPerformEscape() {
  const bool hasCloseButton = _closeBtn && _closeBtn->superview().get() == this;
  return hasCloseButton && _closeBtn->accessibilityActivate();
}

}  // namespace oq
