// SPDX-License-Identifier: Apache-2.0
#include "Tools/OQFloatingBallView.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "Pages/OQNavigation.h"
#include "UIKit/Windows/UIScreen.h"
#include "UIKit/Windows/UIWindow.h"
#include "Utils/OQUtils.h"

namespace oq {
namespace {

constexpr double kSide = 60, kTop = 300;            // points
constexpr double kFanning = 0.25, kSnapping = 0.5;  // seconds
constexpr double kTapTolerance = 2;                 // points
constexpr double kAtTheTop = 0.7;                   // centre's y at the top, in ball heights; intentionally not 0.5
constexpr std::int64_t kNearerSide = 0, kLeft = 1, kRight = 2;
constexpr std::int64_t kFannedToTheLeft = 0, kFannedToTheRight = 1;

/// The offsets of the sub-buttons from the ball's centre when they fan out to the right. Their centres are on one
/// circle.
constexpr double kFanRadius = 84.8528137423857;
constexpr CGPoint kFan[] = {{60, -60}, {kFanRadius, 0}, {60, 60}};
constexpr const char* kTitles[] = {"起别名", "切环境", "发日志"};

CGSize screenSize() {
  return UIScreen::mainScreen().bounds().size;
}

CGPoint fanOffset(std::size_t index, std::int64_t direction) {
  const CGPoint offset = kFan[index];
  return direction == kFannedToTheRight ? offset : CGPoint{-offset.x, offset.y};
}

}  // namespace

Class* OQFloatingBallBtn::staticClass() {
  static Class* registered = registerClass("OQFloatingBallBtn", UIButton::staticClass());
  return registered;
}

Class* OQFloatingBallView::staticClass() {
  static Class* registered = registerClass("OQFloatingBall", UIView::staticClass());
  return registered;
}

std::shared_ptr<OQFloatingBallView>& OQFloatingBallView::floatingBall() {
  // Never destroyed: its destructor would run at process exit, when the other views are already gone.
  static auto& floatingBall = *new std::shared_ptr<OQFloatingBallView>();
  return floatingBall;
}

OQFloatingBallView::OQFloatingBallView(CGRect frame)
    : UIView(CGRectMake(screenSize().width - kSide, kTop, kSide, kSide)) {
  layer().setCornerRadius(frame.size.width / 2);
  setBackgroundColor(UIColor::blackColor().withAlphaComponent(0.3));
}

OQFloatingBallView::OQFloatingBallView(CGRect frame, std::int64_t stayMode) : OQFloatingBallView(frame) {
  _stayMode = stayMode;
}

void OQFloatingBallView::createFloatingBtn() {
  addSubview(floatingBtn());
}

void OQFloatingBallView::_showWithMode(std::int64_t mode) {
  auto& ball = floatingBall();
  if (!ball) ball = makeMainObject<OQFloatingBallView>(CGRect{}, mode);
  ball->setHidden(false);
  ball->setBackgroundColor(UIColor::clearColor());
  ball->layer().setZPosition(100);
  ball->layer().setShadowColor(UIColor::blackColor().withAlphaComponent(0.7));
  ball->layer().setShadowOffset({-1, 1});
  ball->layer().setShadowOpacity(0.6);
  if (const auto window = OQNavigation::keyWindow()) window->addSubview(ball);
}

void OQFloatingBallView::_hide() {
  setHidden(true);
  removeFromSuperview();
}

// The buttons.

std::shared_ptr<OQFloatingBallBtn> OQFloatingBallView::makeButton(const char* title, UIColor color) const {
  auto button = makeMainObject<OQFloatingBallBtn>();
  button->setFrame(bounds());
  button->setBackgroundColor(color);
  button->setTitle(title, UIControlStateNormal);
  button->layer().setCornerRadius(bounds().size.width / 2);
  button->setClipsToBounds(true);
  return button;
}

const std::shared_ptr<OQFloatingBallBtn>& OQFloatingBallView::floatingBtn() {
  if (!_floatingBtn) {
    _floatingBtn = makeButton("工具", UIColor::redColor());
    // The ball handles the touches, because it must distinguish taps from drags.
    _floatingBtn->setUserInteractionEnabled(false);
  }
  return _floatingBtn;
}

const std::shared_ptr<OQFloatingBallBtn>& OQFloatingBallView::subButton(std::size_t index) {
  auto& button = _subBtns[index];
  if (button) return button;
  button = makeButton(kTitles[index], UIColor::greenColor());
  constexpr void (OQFloatingBallView::*clicked[])() = {
      &OQFloatingBallView::btn1Clicked, &OQFloatingBallView::btn2Clicked, &OQFloatingBallView::btn3Clicked};
  std::weak_ptr<UIView> weak = shared_from_this();
  button->addTarget(
      [weak, action = clicked[index]](UIControl&) {
        if (auto ball = std::static_pointer_cast<OQFloatingBallView>(weak.lock())) (*ball.*action)();
      },
      UIControlEventTouchUpInside);
  return button;
}

const std::shared_ptr<OQFloatingBallBtn>& OQFloatingBallView::subBtn1() {
  return subButton(0);
}
const std::shared_ptr<OQFloatingBallBtn>& OQFloatingBallView::subBtn2() {
  return subButton(1);
}
const std::shared_ptr<OQFloatingBallBtn>& OQFloatingBallView::subBtn3() {
  return subButton(2);
}

void OQFloatingBallView::floatingBtnClicked() {
  const bool isFolded = std::any_of(_subBtns.begin(), _subBtns.end(), [](const auto& button) { return !button; });
  isFolded ? popSubBtn() : hideSubBtn();
}

void OQFloatingBallView::popSubBtn() {
  if (screenSize().width / 2 > frame().minX()) {
    _popDirection = kFannedToTheRight;
    _popSubBtnToRight();
  } else {
    _popDirection = kFannedToTheLeft;
    _popSubBtnToLeft();
  }
}

void OQFloatingBallView::_popSubBtnToLeft() {
  fanOut(kFannedToTheLeft);
}

void OQFloatingBallView::_popSubBtnToRight() {
  fanOut(kFannedToTheRight);
}

void OQFloatingBallView::fanOut(std::int64_t direction) {
  for (std::size_t index = 0; index < _subBtns.size(); ++index) {
    const auto& button = subButton(index);
    button->removeFromSuperview();
    insertSubview(button, index);
    button->setBounds(bounds());
    button->setCenter(bounds().center());
  }
  animateWithDuration(kFanning, [this, direction] {
    const CGPoint center = bounds().center();
    for (std::size_t index = 0; index < _subBtns.size(); ++index) {
      const CGPoint offset = fanOffset(index, direction);
      _subBtns[index]->setCenter({center.x + offset.x, center.y + offset.y});
    }
  });
}

void OQFloatingBallView::hideSubBtn() {
  const auto self = std::static_pointer_cast<OQFloatingBallView>(shared_from_this());
  animateWithDuration(
      kFanning,
      [this] {
        for (const auto& button : _subBtns) {
          if (button) button->setCenter(bounds().center());
        }
      },
      [self, folded = _subBtns](bool) { self->takeAway(folded); });
}

/// Removes only the buttons that were folded: a tap during the animation may have created and fanned out others.
void OQFloatingBallView::takeAway(const SubButtons& folded) {
  for (std::size_t index = 0; index < folded.size(); ++index) {
    if (!folded[index]) continue;
    folded[index]->removeFromSuperview();
    if (_subBtns[index] == folded[index]) _subBtns[index].reset();
  }
}

void OQFloatingBallView::btn1Clicked() {
  report(0);
}
void OQFloatingBallView::btn2Clicked() {
  report(1);
}
void OQFloatingBallView::btn3Clicked() {
  report(2);
}

void OQFloatingBallView::report(std::int64_t index) {
  hideSubBtn();
  // The callback may replace or remove itself while it runs.
  const OQFloatingBall::Callback callback = _btnClickedCallback;
  if (callback) callback(index);
}

// Dragging.

void OQFloatingBallView::touchesBegan(UITouch& touch) {
  UIView::touchesBegan(touch);
  _touchPoint = touch.locationIn(*this);
  _touchBtnX = frame().minX();
  _touchBtnY = frame().minY();
}

void OQFloatingBallView::touchesMoved(UITouch& touch) {
  const CGPoint here = touch.locationIn(*this);
  const CGPoint moved{center().x + here.x - _touchPoint.x, center().y + here.y - _touchPoint.y};
  setCenter(moved);
  const CGSize screen = screenSize();
  const CGRect ball = frame();
  if (ball.minX() > screen.width) {
    setCenter({screen.width - ball.size.width / 2, moved.y});
  } else if (ball.minX() < 0) {
    setCenter({ball.size.width / 2, moved.y});
  }
  // Intentional: at the top and at the bottom of the screen, x follows the finger even beyond the left and right edges.
  if (ball.minY() <= 0) {
    setCenter({moved.x, ball.size.height * kAtTheTop});
  } else if (ball.minY() > screen.height - ball.size.height) {
    setCenter({moved.x, screen.height - ball.size.height / 2});
  }
}

void OQFloatingBallView::touchesEnded(UITouch& touch) {
  const auto self = shared_from_this();
  const bool isTap =
      std::abs(frame().minX() - _touchBtnX) <= kTapTolerance && std::abs(frame().minY() - _touchBtnY) <= kTapTolerance;
  if (isTap) {
    UIView::touchesEnded(touch);
    floatingBtnClicked();
  } else {
    touchesCancelled(touch);
  }
  comeToRest();
}

void OQFloatingBallView::comeToRest() {
  const double width = screenSize().width;
  const bool isAtTheRight = _stayMode == kRight || (_stayMode == kNearerSide && center().x >= width / 2);
  if (_stayMode != kNearerSide && _stayMode != kLeft && _stayMode != kRight) return;
  animateWithDuration(kSnapping,
                      [&] { setFrame(CGRectMake(isAtTheRight ? width - kSide : 0, frame().minY(), kSide, kSide)); });
}

bool OQFloatingBallView::pointInside(CGPoint point) const {
  if (UIView::pointInside(point)) return true;
  const auto boundsOf = [this](std::size_t index) { return _subBtns[index] ? _subBtns[index]->bounds() : CGRect{}; };
  for (std::size_t index = 0; index < _subBtns.size(); ++index) {
    const CGPoint offset = fanOffset(index, _popDirection);
    if (OQUtils::point({point.x - offset.x, point.y - offset.y}, boundsOf(index))) return true;
  }
  return false;
}

void OQFloatingBallView::didMoveToWindow() {
  if (window()) stayOnScreen();
}

void OQFloatingBallView::stayOnScreen() {
  const auto parent = superview();
  if (!parent || parent->bounds().isEmpty()) return;
  const CGSize room = parent->bounds().size;
  CGRect ball = frame();
  ball.origin.x = std::clamp(ball.minX(), 0.0, std::max(0.0, room.width - kSide));
  ball.origin.y = std::clamp(ball.minY(), 0.0, std::max(0.0, room.height - kSide));
  setFrame(ball);
}

}  // namespace oq
