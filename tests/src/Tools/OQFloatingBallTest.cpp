// SPDX-License-Identifier: Apache-2.0
#include "Tools/OQFloatingBallView.h"

#include <gtest/gtest.h>

#include <thread>

#include "Pages/OQNavigation.h"
#include "UIKit/Windows/UIWindow.h"
#include "oqsdk/headless/HeadlessHost.h"

namespace oq {
namespace {

constexpr CGSize kTall{390, 844}, kSmall{320, 568};
constexpr double kRadius = 84.8528137423857;

/// A screen with a ball, and a finger.
struct Screen {
  explicit Screen(CGSize size, std::int64_t mode = 3)
      : host({.width = size.width, .height = size.height, .dataDirectory = {}}) {
    ball = makeMainObject<OQFloatingBallView>(CGRect{}, mode);
    ball->createFloatingBtn();
    OQNavigation::keyWindow()->addSubview(ball);
    ball->setBtnClickedCallback([this](std::int64_t index) {
      reported.push_back(index);
      centerWhenReported = ball->subBtn1()->center();
    });
  }
  ~Screen() { ball->removeFromSuperview(); }

  /// Drags from the ball's centre to the point.
  void drag(CGPoint to) {
    host.touchDown(ball->center().x, ball->center().y);
    host.touchMove(to.x, to.y);
  }
  /// Drags the ball to the point, drops it, and waits until it rests.
  void put(CGPoint at) {
    drag(at);
    host.touchUp(at.x, at.y);
    host.advance(0.6);
  }
  void tapBall() { host.tap(ball->center().x, ball->center().y); }
  CGRect frame() const { return ball->frame(); }

  HeadlessHost host;
  std::shared_ptr<OQFloatingBallView> ball;
  std::vector<std::int64_t> reported;
  CGPoint centerWhenReported;
};

CGRect ballAt(double x, double y) {
  return CGRectMake(x, y, 60, 60);
}

TEST(FloatingBall, FollowsTheFingerButIsCorrectedAtScreenEdges) {
  struct Case {
    CGSize screen;
    CGPoint finger;
    CGPoint origin;
  };
  for (const Case& each : {
           Case{kTall, {200, 500}, {170, 470}},
           Case{kTall, {10, 500}, {0, 470}},     // back to the left edge
           Case{kTall, {420, 500}, {390, 470}},  // not beyond the right edge yet
           Case{kTall, {421, 500}, {330, 470}},  // beyond it
           Case{kTall, {200, 31}, {170, 1}},
           Case{kTall, {200, 30}, {170, 12}},  // the centre moves to 0.7 of the ball's height
           Case{kTall, {10, 10}, {-20, 12}},   // in the corner x follows the finger
           Case{kTall, {200, 814}, {170, 784}},
           Case{kTall, {200, 815}, {170, 784}},
           Case{kSmall, {351, 300}, {260, 270}},
           Case{kSmall, {-60, 570}, {-90, 508}},
       }) {
    Screen screen(each.screen);
    EXPECT_EQ(screen.frame(), ballAt(each.screen.width - 60, 300));
    screen.drag(each.finger);
    EXPECT_EQ(screen.frame().origin, each.origin) << each.finger.x << "," << each.finger.y;
    screen.host.touchUp(each.finger.x, each.finger.y);
    screen.host.advance(1);
    EXPECT_EQ(screen.frame().origin, each.origin) << "stays where it was dropped";
  }
}

TEST(FloatingBall, MovesToTheEdgeOfItsStayModeAfterADrag) {
  struct Case {
    std::int64_t mode;
    double centerX, restsAt;
  };
  for (const Case& each : {Case{0, 194, 0}, {0, 195, 330}, {1, 300, 0}, {2, 60, 330}, {3, 150, 120}, {-1, 150, 120}}) {
    Screen screen(kTall, each.mode);
    screen.drag({each.centerX, 400});
    screen.host.touchUp(each.centerX, 400);
    EXPECT_EQ(screen.frame(), ballAt(each.restsAt, 370)) << each.mode << " " << each.centerX;
    screen.host.advance(0.6);
    EXPECT_TRUE(screen.reported.empty() && screen.ball->subviews().size() == 1) << "a drag is not a tap";
  }
}

TEST(FloatingBall, FansOutItsButtonsReportsTheTappedOneAndFolds) {
  for (double side : {-1.0, 1.0}) {
    Screen screen(kTall, side < 0 ? 2 : 1);
    auto& ball = *screen.ball;
    screen.put({150, 330});
    const CGPoint offsets[] = {{side * 60, -60}, {side * kRadius, 0}, {side * 60, 60}};
    const auto tapAt = [&](CGPoint offset) {
      return screen.host.tap(ball.center().x + offset.x, ball.center().y + offset.y);
    };
    EXPECT_FALSE(tapAt(offsets[0])) << "still handled by the host";
    screen.tapBall();
    const std::vector<std::shared_ptr<UIView>> order = {ball.subBtn1(), ball.subBtn2(), ball.subBtn3(),
                                                        ball.floatingBtn()};
    EXPECT_EQ(ball.subviews(), order) << "below the main button";
    const char* titles[] = {"起别名", "切环境", "发日志", "工具"};
    for (int i = 0; i < 4; ++i) {
      auto& button = static_cast<UIButton&>(*order[i]);
      const CGPoint offset = i < 3 ? offsets[i] : CGPoint{};
      EXPECT_EQ(button.center(), (CGPoint{30 + offset.x, 30 + offset.y}));
      EXPECT_EQ(button.titleForState(UIControlStateNormal), titles[i]);
    }
    screen.host.advance(0.26);

    // The buttons move with the ball, and fold at the next tap on the ball.
    screen.put({180, 500});
    EXPECT_EQ(ball.subviews(), order);
    screen.tapBall();
    EXPECT_EQ(order[0]->center(), (CGPoint{30, 30}));
    screen.host.advance(0.26);
    EXPECT_EQ(ball.subviews().size(), 1u);

    for (CGPoint offset : offsets) {
      screen.tapBall();
      EXPECT_NE(ball.subBtn1(), order[0]) << "new buttons";
      screen.host.advance(0.3);
      EXPECT_FALSE(tapAt({side * 82, 82})) << "in the corner of the button's square";
      EXPECT_TRUE(tapAt({offset.x + 20, offset.y + 20}));
      EXPECT_EQ(screen.centerWhenReported, (CGPoint{30, 30})) << "it folds first";
      screen.host.advance(0.3);
      EXPECT_EQ(ball.subviews().size(), 1u);
    }
    EXPECT_EQ(screen.reported, (std::vector<std::int64_t>{0, 1, 2}));
  }
}

/// A process has only one ball, so there is only one test of it.
TEST(FloatingBall, AllCallsUseOneBall) {
  HeadlessHost host({.width = kTall.width, .height = kTall.height, .dataDirectory = {}});
  std::vector<std::int64_t> early, late;
  OQFloatingBall::setFloatingBtnClickedCallback([&](std::int64_t index) { early.push_back(index); });
  OQFloatingBall::hide();
  EXPECT_EQ(OQFloatingBallView::floatingBall(), nullptr);
  std::thread([] { OQFloatingBall::showWithMode(2); }).join();
  host.runMainQueue();
  auto ball = OQFloatingBallView::floatingBall();
  ASSERT_TRUE(ball);
  EXPECT_EQ(ball->superview(), OQNavigation::keyWindow());
  EXPECT_EQ(ball->frame(), ballAt(330, 300));
  EXPECT_EQ(ball->layer().model().zPosition, 100) << "above views that are added later";

  OQFloatingBall::showWithMode(1);
  OQFloatingBall::setFloatingBtnClickedCallback([&](std::int64_t index) { late.push_back(index); });
  EXPECT_EQ(OQFloatingBallView::floatingBall(), ball);
  host.touchDown(360, 330);
  host.touchMove(100, 330);
  host.touchUp(100, 330);
  EXPECT_EQ(ball->frame(), ballAt(330, 300)) << "the first mode is kept";

  OQFloatingBall::hide();
  EXPECT_TRUE(ball->isHidden());
  EXPECT_EQ(ball->superview(), nullptr);
  OQFloatingBall::show();
  EXPECT_FALSE(ball->isHidden());
  EXPECT_EQ(ball->superview(), OQNavigation::keyWindow());
  ball->btn3Clicked();
  EXPECT_EQ(late, (std::vector<std::int64_t>{2}));
  EXPECT_TRUE(early.empty());
  OQFloatingBall::hide();
}

}  // namespace
}  // namespace oq
