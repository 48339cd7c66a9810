// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <utility>

#include "Dispatch/DispatchQueue.h"
#include "Foundation/Values/Format.h"
#include "Pages/OQNavigation.h"
#include "UI/OQPopWindow.h"
#include "UI/OQPopWindowMetrics.h"
#include "UI/OQPresentationQueue.h"
#include "UI/UIImageView+OQWebCache.h"
#include "UIKit/Input/UIGestureRecognizer.h"
#include "UIKit/Windows/MainObject.h"
#include "UIKit/Windows/UIApplication.h"
#include "UIKit/Windows/UIScreen.h"
#include "UIKit/Windows/UIWindow.h"
#include "Utils/OQDispatchQueueManager.h"
#include "Utils/OQLogger.h"

namespace oq {
namespace {

constexpr double kOpening = 0.2, kClosing = 0.05;  // seconds
constexpr NSParagraphStyle kParagraphStyle{8, NSTextAlignment::Justified};

void logShow(const std::shared_ptr<OQWindowData>& data) {
  OQLogger::log("pop window with data:%@\n", data);
}

std::shared_ptr<OQTextAttribute> textAttribute(const std::optional<std::string>& text) {
  auto attribute = std::make_shared<OQTextAttribute>();
  if (text) attribute->setText(JSONValue(*text));
  return attribute;
}

std::shared_ptr<OQButtonAttribute> buttonAttribute(const char* text) {
  auto attribute = std::make_shared<OQButtonAttribute>();
  attribute->setText(JSONValue(text));
  return attribute;
}

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

void OQPopWindow::popWithData(std::shared_ptr<OQWindowData> data, EventAction eventAction) {
  if (isOnMainQueue()) return popOnMainQueue(std::move(data), std::move(eventAction));
  if (_isShowing) return;
  logShow(data);
  DispatchQueue::main().async([self = self(), data = std::move(data), eventAction = std::move(eventAction)] {
    self->showData(data, eventAction);
  });
}

void OQPopWindow::popOnMainQueue(std::shared_ptr<OQWindowData> data, EventAction eventAction) {
  if (_isShowing) return;
  logShow(data);
  showData(std::move(data), std::move(eventAction));
}

void OQPopWindow::showData(std::shared_ptr<OQWindowData> data, EventAction eventAction) {
  _data = std::move(data);
  _eventAction = eventAction;
  switch (_data ? _data->style() : 0) {
    case 1:
      return _popWithImageWithCompletion(std::move(eventAction));
    case 2:
      return _popWithTextAndImageWithCompletion(std::move(eventAction));
    case 3:
      return _popWithTextWithCompletion(std::move(eventAction));
    case 4:
      return _popWithHTMLWithCompletion(std::move(eventAction));
    default:
      // Intentional: an unknown style shows and reports nothing.
      return;
  }
}

void OQPopWindow::popWithTitle(std::optional<std::string> title, std::optional<std::string> message,
                               EventAction eventAction) {
  auto show = [self = self(), title = std::move(title), message = std::move(message), eventAction] {
    auto data = std::make_shared<OQWindowData>();
    data->setTitle(textAttribute(title));
    data->setContent(textAttribute(message.value_or("未取到userId，请重启APP")));
    data->setLeftBtnAttribute(buttonAttribute("取消"));
    data->setRightBtnAttribute(buttonAttribute("确定"));
    data->setStyle(3);
    self->_data = std::move(data);
    self->_eventAction = eventAction;
    self->_isToolWindow = true;
    self->_popWithTextWithCompletion(eventAction);
  };
  OQDispatchQueueManager::dispatchInMainThread(show, true);
}

void OQPopWindow::_popWithImageWithCompletion(EventAction completion) {
  present(&OQPopWindow::openImage, std::move(completion));
}

void OQPopWindow::_popWithTextAndImageWithCompletion(EventAction completion) {
  present(&OQPopWindow::openTextAndImage, std::move(completion));
}

void OQPopWindow::_popWithTextWithCompletion(EventAction completion) {
  auto opened = [this, completion = std::move(completion)](std::int64_t code, const JSONValue& link) {
    if (completion) completion(_isToolWindow ? OQWindowActionShownAsTool : code, link);
  };
  present(&OQPopWindow::openText, std::move(opened));
}

/// Intentional: this style shows one fixed page (see webController()) and no field of the window's data.
void OQPopWindow::_popWithHTMLWithCompletion(EventAction completion) {
  present(&OQPopWindow::openPage, std::move(completion));
}

/// The queue holds this window strongly: no view owns the window until it opens.
void OQPopWindow::present(Opening open, EventAction completion) {
  const auto kind = _isToolWindow ? OQPresentationQueue::Kind::Tool : OQPresentationQueue::Kind::Campaign;
  OQPresentationQueue::shared().add(kind, [self = self(), open, completion = std::move(completion)] {
    self->setHidden(false);
    (self.get()->*open)(completion);
  });
}

void OQPopWindow::openImage(const EventAction& completion) {
  addToKeyWindow(imgView());
  loadPicture();
  setCardHeight(*imgView(), 0);
  imgView()->layer().setCornerRadius(OQPopWindowMetrics().cornerRadius());
  imgView()->setUserInteractionEnabled(true);
  imgView()->setIsAccessibilityElement(true);
  imgView()->setAccessibilityTraits(UIAccessibilityTraitImage | UIAccessibilityTraitButton);
  // When the message is opened again, the picture already has its recogniser; a second one would report each tap twice.
  if (imgView()->gestureRecognizers().empty()) {
    imgView()->addGestureRecognizer(std::make_shared<UITapGestureRecognizer>([weak = weakSelf()] {
      if (auto window = weak.lock()) window->imageClicked();
    }));
  }
  openCard([this] { setCardHeight(*imgView(), OQPopWindowMetrics().pageHeight()); },
           [this] { placeCloseButtonBelow(*imgView()); }, &OQPopWindow::openImage, completion);
}

void OQPopWindow::openTextAndImage(const EventAction& completion) {
  addToKeyWindow(contentView());
  if (_data) {
    layoutImage();
    layoutTitleAndTextWithData(*_data);
    layoutButtonWithData(*_data);
  }
  setCardHeight(*contentView(), 0);
  openCard([this] { setCardHeight(*contentView(), _imageAndTextWindowHeight); },
           [this] {
             placeCloseButton({contentView()->frame().maxX(), contentView()->frame().minY()});
           },
           &OQPopWindow::openTextAndImage, completion);
}

void OQPopWindow::openText(const EventAction& completion) {
  addToKeyWindow(contentView());
  if (_data) {
    layoutTitleAndTextWithData(*_data);
    layoutButtonWithData(*_data);
  }
  setCardHeight(*contentView(), 0);
  openCard([this] { setCardHeight(*contentView(), _textWindowHeight); }, nullptr, &OQPopWindow::openText, completion);
}

void OQPopWindow::openPage(const EventAction& completion) {
  addToKeyWindow(webController()->view());
  setPageHeight(0);
  webController()->view()->layer().setCornerRadius(OQPopWindowMetrics().cornerRadius());
  webController()->view()->setClipsToBounds(true);
  openCard([this] { setPageHeight(OQPopWindowMetrics().pageHeight()); },
           [this] { placeCloseButtonBelow(*webController()->view()); }, &OQPopWindow::openPage, completion);
}

void OQPopWindow::addToKeyWindow(const std::shared_ptr<UIView>& card) {
  // The screen may have changed while the message waited.
  const CGRect screen = UIScreen::mainScreen().bounds();
  setFrame(screen);
  backgroundView()->setFrame(screen);
  if (auto window = OQNavigation::keyWindow()) window->addSubview(self());
  addSubview(backgroundView());
  addSubview(card);
}

void OQPopWindow::loadPicture() {
  _isPictureMissing = false;
  // A message with a text may have no picture; one that consists of a picture (style 1) always needs one.
  const bool isExpected = _data && (_data->style() == 1 || !_data->picture().is_null());
  const auto failed = [weak = weakSelf(), isExpected] {
    const auto window = weak.lock();
    if (window && isExpected) window->pictureFailed();
  };
  oq_setImageWithURL(imgView(), _data ? urlFromValue(_data->picture()) : std::nullopt, _network, failed);
}

void OQPopWindow::pictureFailed() {
  _isPictureMissing = true;
  if (_isShowing && !_isClosing) notify(Notice::ShownWithoutPicture);
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
  // Intentional: three quarters of the width, which is more than the height of the picture, so that there is some space
  // above the title.
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
    // The gap of one point shows the card's background, which looks like a divider.
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

void OQPopWindow::openCard(const std::function<void()>& grow, std::function<void()> placeClose, Opening open,
                           EventAction completion) {
  _isClosing = false;
  if (!_isToolWindow) {
    std::erase(onScreen(), this);
    onScreen().push_back(this);
  }
  backgroundView()->setAlpha(0.2);
  setAlpha(1);
  // The animation holds this window strongly: without a key window no view owns it until it has reported.
  auto opened = [self = self(), placeClose = std::move(placeClose), open, completion = std::move(completion)](bool) {
    if (self->_isRemoved) return;
    // The host window was hidden or destroyed meanwhile. Open the message again when the user can see it.
    if (self->isOutOfSight()) {
      self->setHidden(true);
      std::erase(onScreen(), self.get());
      return self->present(open, completion);
    }
    self->_isShowing = true;
    if (placeClose) placeClose();
    if (completion) completion(OQWindowActionShown, JSONValue());
    if (self->_isPictureMissing && !self->_isClosing) self->notify(Notice::ShownWithoutPicture);
  };
  UIView::animateWithDuration(
      kOpening,
      [&] {
        backgroundView()->setAlpha(1);
        grow();
      },
      std::move(opened));
}

bool OQPopWindow::isOutOfSight() const {
  const auto& application = UIApplication::sharedApplication();
  if (_isClosing || application.connectedScenes().empty()) return false;
  const UIWindow* root = window();
  return !root || !application.isOnScreen(*root);
}

void OQPopWindow::placeCloseButtonBelow(const UIView& card) {
  const CGRect frame = card.frame();
  placeCloseButton({frame.center().x, frame.maxY() + OQPopWindowMetrics().closeButtonSide()});
}

void OQPopWindow::placeCloseButton(CGPoint center) {
  double side = OQPopWindowMetrics().closeButtonSide();
  addSubview(closeBtn());
  closeBtn()->setFrame(CGRectMake(center.x - side / 2, center.y - side / 2, side, side));
}

void OQPopWindow::fadeOut(std::function<void()> completion) {
  _isClosing = true;
  // A second finger on another button must not cause another report.
  if (UIWindow* root = window()) root->cancelTouchesIn(*this);
  UIView::animateWithDuration(
      kClosing, [this] { setAlpha(0); },
      [self = self(), completion = std::move(completion)](bool) {
        self->removeFromSuperview();
        self->_isShowing = false;
        std::erase(onScreen(), self.get());
        completion();
      });
}

void OQPopWindow::closeWithCompletion(EventAction completion) {
  fadeOut([completion = std::move(completion)] {
    if (completion) completion(OQWindowActionClosed, JSONValue());
  });
}

void OQPopWindow::_close() {
  fadeOut([this] { report(OQWindowActionClosed, JSONValue()); });
}

std::vector<OQPopWindow*>& OQPopWindow::onScreen() {
  static auto& windows = *new std::vector<OQPopWindow*>;
  return windows;
}

OQPopWindow::~OQPopWindow() {
  std::erase(onScreen(), this);
}

void OQPopWindow::dismissNewest() {
  const auto found =
      std::find_if(onScreen().rbegin(), onScreen().rend(), [](auto* window) { return !window->_isRemoved; });
  if (found == onScreen().rend() || (*found)->_isClosing) return;
  const auto newest = (*found)->self();
  newest->_isRemoved = true;
  newest->fadeOut([window = newest.get()] { window->notify(Notice::Removed); });
}

void OQPopWindow::removeAll() {
  std::vector<std::shared_ptr<OQPopWindow>> windows;
  for (OQPopWindow* window : onScreen()) windows.push_back(window->self());
  for (const auto& window : windows) window->remove();
}

void OQPopWindow::remove() {
  _isRemoved = _isClosing = true;
  if (UIWindow* root = window()) root->cancelTouchesIn(*this);
  removeFromSuperview();
  _isShowing = false;
  std::erase(onScreen(), this);
  // A fade-out that is still running then reports nothing.
  _eventAction = nullptr;
  notify(Notice::Removed);
}

void OQPopWindow::notify(Notice notice) {
  const auto handler = _noticeHandler;
  if (handler) handler(notice);
}

void OQPopWindow::imageClicked() {
  closeWithCompletion([weak = weakSelf()](std::int64_t, const JSONValue&) {
    auto window = weak.lock();
    if (window) window->report(OQWindowActionPicture, window->_data ? window->_data->eventLink() : JSONValue());
  });
}

void OQPopWindow::jumpOut(const std::shared_ptr<OQButton>& button) {
  closeWithCompletion([weak = weakSelf(), button](std::int64_t, const JSONValue&) {
    const auto& attribute = button->attribute();
    if (auto window = weak.lock())
      window->report(button->eventType(), attribute ? attribute->eventLink() : JSONValue());
  });
}

/// The callback may replace or remove itself while it runs.
void OQPopWindow::report(std::int64_t code, const JSONValue& link) {
  EventAction action = _eventAction;
  if (action) action(code, link);
}

}  // namespace oq
