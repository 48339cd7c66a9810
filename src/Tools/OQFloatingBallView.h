// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "UIKit/Views/UIButton.h"
#include "oqsdk/OQFloatingBall.h"

namespace oq {

/// A button of the ball; it adds only its class name.
class OQFloatingBallBtn : public UIButton {
  OQ_CLASS(OQFloatingBallBtn)
};

/// The ball itself. Hosts know it as OQFloatingBall, which is its class name at run time. Main thread only. Create it
/// with makeMainObject().
///
/// Positions use the current size of the main screen. When the ball is added to a window, and when that window shrinks,
/// the ball is moved to where it can be touched.
class OQFloatingBallView : public UIView {
  OQ_CLASS(OQFloatingBallView)

 public:
  /// The ball of the process; nullptr before it is first shown.
  static std::shared_ptr<OQFloatingBallView>& floatingBall();

  /// Creates a ball of 60 by 60 points at the right edge. Of the frame, only half of the width is used, as the corner
  /// radius.
  explicit OQFloatingBallView(CGRect frame);
  OQFloatingBallView(CGRect frame, std::int64_t stayMode);

  void createFloatingBtn();
  /// Shows the ball of the process in the key window. The mode is used only if there is no ball yet.
  static void _showWithMode(std::int64_t mode);
  void _hide();

  /// Fans out the three buttons, or folds them.
  void floatingBtnClicked();
  void popSubBtn();
  void _popSubBtnToLeft();
  void _popSubBtnToRight();
  void hideSubBtn();
  void btn1Clicked();
  void btn2Clicked();
  void btn3Clicked();

  const std::shared_ptr<OQFloatingBallBtn>& floatingBtn();
  const std::shared_ptr<OQFloatingBallBtn>& subBtn1();
  const std::shared_ptr<OQFloatingBallBtn>& subBtn2();
  const std::shared_ptr<OQFloatingBallBtn>& subBtn3();
  void setBtnClickedCallback(OQFloatingBall::Callback callback) { _btnClickedCallback = std::move(callback); }

  void touchesBegan(UITouch& touch) override;
  void touchesMoved(UITouch& touch) override;
  void touchesEnded(UITouch& touch) override;
  bool pointInside(CGPoint point) const override;
  bool isPressable() const override { return true; }
  void didMoveToWindow() override;
  void superviewDidResize() override { stayOnScreen(); }

 private:
  using SubButtons = std::array<std::shared_ptr<OQFloatingBallBtn>, 3>;

  std::shared_ptr<OQFloatingBallBtn> makeButton(const char* title, UIColor color) const;
  const std::shared_ptr<OQFloatingBallBtn>& subButton(std::size_t index);
  void fanOut(std::int64_t direction);
  void takeAway(const SubButtons& folded);
  void report(std::int64_t index);
  void comeToRest();
  void stayOnScreen();

  CGPoint _touchPoint;
  double _touchBtnX = 0;
  double _touchBtnY = 0;
  std::int64_t _stayMode = 0;
  std::int64_t _popDirection = 0;  ///< 0: fanned out to the left, 1: to the right
  std::shared_ptr<OQFloatingBallBtn> _floatingBtn;
  SubButtons _subBtns;  ///< all nullptr while folded
  OQFloatingBall::Callback _btnClickedCallback;
};

}  // namespace oq
