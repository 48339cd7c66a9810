// SPDX-License-Identifier: Apache-2.0
#include <utility>

#include "Dispatch/DispatchQueue.h"
#include "Pages/OQNavigation.h"
#include "UI/OQPopWindow.h"
#include "UI/OQPopWindowMetrics.h"
#include "UI/OQPresentationQueue.h"
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

/// Intentional: this style does not show the fields of the window's data.
void OQPopWindow::_popWithHTMLWithCompletion(EventAction completion) {
  present(&OQPopWindow::openPage, std::move(completion));
}

/// Holds this window strongly: no view owns it until it opens.
void OQPopWindow::present(Opening open, EventAction completion) {
  OQPresentationQueue::shared().add([self = self(), open, completion = std::move(completion)] {
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
  // When it is shown a second time, the picture already has its recogniser; another one would report each tap twice.
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

void OQPopWindow::openCard(const std::function<void()>& grow, std::function<void()> placeClose, Opening open,
                           EventAction completion) {
  _isClosing = false;
  backgroundView()->setAlpha(0.2);
  setAlpha(1);
  // Holds this window strongly: without a key window no view owns it until it has reported.
  auto opened = [self = self(), placeClose = std::move(placeClose), open, completion = std::move(completion)](bool) {
    // Its host window was hidden or destroyed meanwhile: open again where it is visible.
    if (self->isOutOfSight()) {
      self->setHidden(true);
      return self->present(open, completion);
    }
    self->_isShowing = true;
    if (placeClose) placeClose();
    if (completion) completion(OQWindowActionShown, JSONValue());
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
