// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "Foundation/Values/Format.h"
#include "UI/OQPopWindow.h"
#include "UI/OQPopWindowMetrics.h"
#include "UI/UIImageView+OQWebCache.h"

namespace oq {
namespace {

constexpr NSParagraphStyle kParagraphStyle{8, NSTextAlignment::Justified};

/// Sets the paragraph style of the label's text, and returns the text's height at this width; 0 without text.
double styleAndMeasure(UILabel& label, double width) {
  if (!label.text()) return 0;
  label.setAttributedText({*label.text(), kParagraphStyle});
  return label.textSizeForWidth(width).height;
}

/// If margins and button leave no space on a very wide screen, a text gets height 0 instead of a negative one.
double atMost(double height, double limit) {
  return std::max(0.0, std::min(height, limit));
}

std::optional<URL> urlFromValue(const JSONValue& address) {
  return address.is_null() ? std::nullopt : URL::withString(descriptionOf(address));
}

}  // namespace

void OQPopWindow::loadPicture() {
  oq_setImageWithURL(imgView(), _data ? urlFromValue(_data->picture()) : std::nullopt, _network);
}

void OQPopWindow::layoutImage() {
  OQPopWindowMetrics metrics;
  contentView()->addSubview(imgView());
  imgView()->setFrame(CGRectMake(0, 0, metrics.cardWidth(), metrics.pictureHeight()));
  loadPicture();
}

void OQPopWindow::layoutTitleAndTextWithData(const OQWindowData& data) {
  OQPopWindowMetrics metrics;
  bool textOnly = data.style() == 3;
  double budget = metrics.textBudget(textOnly), margin = metrics.margin(), width = metrics.textWidth();

  contentView()->addSubview(titleLbl());
  titleLbl()->setAttribute(data.title());
  double titleHeight = atMost(styleAndMeasure(*titleLbl(), width), 0.3 * budget);
  // Intentional: three quarters instead of the picture's ratio, so that there is some space above the title.
  double titleTop = textOnly ? margin : margin + metrics.cardWidth() * 0.75;
  titleLbl()->setFrame(CGRectMake(margin, titleTop, width, titleHeight));

  contentView()->addSubview(textScrollView());
  textScrollView()->addSubview(textLbl());
  textLbl()->setAttribute(data.content());
  double bodyHeight = styleAndMeasure(*textLbl(), width);
  textLbl()->setFrame(CGRectMake(0, 0, width, bodyHeight));
  textScrollView()->setFrame(
      CGRectMake(margin, titleLbl()->frame().maxY() + margin, width, atMost(bodyHeight, 0.7 * budget)));
  textScrollView()->setContentSize({width, bodyHeight});
}

void OQPopWindow::layoutButtonWithData(const OQWindowData& data) {
  OQPopWindowMetrics metrics;
  double top = textScrollView()->frame().maxY() + metrics.margin(), height = metrics.buttonHeight();
  auto place = [&](const std::shared_ptr<OQButton>& button, double x, double width,
                   const std::shared_ptr<OQButtonAttribute>& attribute) {
    contentView()->addSubview(button);
    button->setFrame(CGRectMake(x, top, width, height));
    button->setAttribute(attribute);
  };
  if (data.style() == 3) {
    // The gap of one point shows the card's background: a divider.
    double width = (metrics.cardWidth() - 1) * 0.5;
    place(leftBtn(), 0, width, data.leftBtnAttribute());
    place(rightBtn(), width + 1, width, data.rightBtnAttribute());
  } else if (data.style() == 2) {
    place(middleBtn(), 0, metrics.cardWidth(), data.middleBtnAttribute());
  }
  reframeContentView();
}

void OQPopWindow::reframeContentView() {
  std::int64_t style = _data ? _data->style() : 0;
  double bottom = (style == 2 ? middleBtn() : leftBtn())->frame().maxY();
  setCardHeight(*contentView(), bottom);
  if (style == 2) _imageAndTextWindowHeight = contentView()->bounds().size.height;
  if (style == 3) _textWindowHeight = contentView()->bounds().size.height;
}

void OQPopWindow::setCardHeight(UIView& card, double height) {
  card.setBounds(CGRectMake(0, 0, OQPopWindowMetrics().cardWidth(), height));
  card.setCenter(center());
}

void OQPopWindow::setPageHeight(double height) {
  webController()->setBounds(CGRectMake(0, 0, OQPopWindowMetrics().cardWidth(), height), center());
}

}  // namespace oq
