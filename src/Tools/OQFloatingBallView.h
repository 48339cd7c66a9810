#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "UIKit/Views/UIButton.h"
#include "oqsdk/OQFloatingBall.h"

namespace oq {

/// A button of the ball's, with nothing of its own but the name of its class.
class OQFloatingBallBtn : public UIButton {
  OQ_CLASS(OQFloatingBallBtn)
};

/// The ball itself: what hosts know as OQFloatingBall, whose name its class bears at run time. Main thread
/// only. Made with makeMainObject().
///
/// Positions follow the main screen's size at the moment when they are asked for. On its way into a window,
/// and when that window shrinks, the ball is moved to where a finger reaches it.
class OQFloatingBallView : public UIView {
  OQ_CLASS(OQFloatingBallView)

 public:
  /// The ball of the process; nullptr before the first show.
  static std::shared_ptr<OQFloatingBallView>& floatingBall();

  /// 60 by 60 points at the right edge; of the frame only half the width counts, as corner radius.
  explicit OQFloatingBallView(CGRect frame);
  OQFloatingBallView(CGRect frame, std::int64_t stayMode);

  void createFloatingBtn();
  /// Puts the ball of the process on the key window. The mode counts only where there is none yet.
  static void _showWithMode(std::int64_t mode);
  void _hide();

  /// Fans the three buttons out, or folds them.
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

  std::shared_ptr<OQFloatingBallBtn> makeButton(const char* title, UIColor colour) const;
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
  std::int64_t _popDirection = 0;  ///< 0: fanned to the left, 1: to the right
  std::shared_ptr<OQFloatingBallBtn> _floatingBtn;
  SubButtons _subBtns;  ///< empty while they are folded
  OQFloatingBall::Callback _btnClickedCallback;
};

}  // namespace oq
