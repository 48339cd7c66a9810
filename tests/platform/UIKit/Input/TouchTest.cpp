// SPDX-License-Identifier: Apache-2.0
#include <cmath>

#include "UIKit/Input/UIGestureRecognizer.h"
#include "UIKit/Views/Animation.h"
#include "UIKit/Views/UIControl.h"
#include "UIKit/Views/UIScrollView.h"
#include "platform/UIKit/Windows/ScriptedHost.h"

namespace oq {
namespace {

using Log = std::vector<std::string>;

/// Records the phases of its touches and calls onTouch, if the test has set it, with each phase.
class TouchView : public UIView {
 public:
  void touchesBegan(UITouch&) override { note("began"); }
  void touchesMoved(UITouch&) override { note("moved"); }
  void touchesEnded(UITouch&) override { note("ended"); }
  void touchesCancelled(UITouch&) override { note("cancelled"); }

  Log log;
  std::function<void(const std::string&)> onTouch;

 private:
  void note(const std::string& phase) {
    log.push_back(phase);
    if (onTouch) onTouch(phase);
  }
};

class TouchTest : public UIKitTest {
 protected:
  bool down(double x, double y) { return window->touchBegan(0, {x, y}, host.time); }
  void move(double x, double y) { window->touchMoved(0, {x, y}, host.time); }
  void up(double x, double y) { window->touchEnded(0, {x, y}, host.time); }
};

TEST_F(TouchTest, FrontMostTouchableViewIsHit) {
  auto back = add(CGRectMake(0, 0, 50, 50)), front = add(CGRectMake(0, 0, 50, 50));
  auto child = add(CGRectMake(0, 0, 20, 20), front);
  EXPECT_EQ(window->hitTest({10, 10}), child);
  EXPECT_EQ(window->hitTest({30, 30}), front);
  EXPECT_EQ(window->hitTest({50, 10}), nullptr) << "the right edge is outside, and the window itself is never hit";
  back->layer().setZPosition(1);
  EXPECT_EQ(window->hitTest({10, 10}), back);
  back->layer().setZPosition(0);

  const std::function<void()> obstacles[] = {[&] { front->setHidden(true); }, [&] { front->setAlpha(0.009); },
                                             [&] { front->setUserInteractionEnabled(false); },
                                             [&] { UIView::animateWithDuration(1, [&] { front->setAlpha(0.5); }); }};
  for (const auto& put : obstacles) {
    put();
    EXPECT_EQ(window->hitTest({10, 10}), back);
    front->setHidden(false);
    front->setAlpha(1);
    front->setUserInteractionEnabled(true);
    EXPECT_EQ(window->hitTest({10, 10}), child);
  }
}

TEST_F(TouchTest, TouchStaysWithItsViewAndAViewHasOneTouchAtATime) {
  auto view = add<TouchView>(CGRectMake(0, 0, 50, 50));
  EXPECT_FALSE(window->wantsTouchAt({60, 60}));
  EXPECT_FALSE(down(60, 60)) << "passed to the host";
  up(10, 10);
  EXPECT_TRUE(view->log.empty());
  EXPECT_TRUE(down(10, 10));
  EXPECT_TRUE(window->touchBegan(2, {20, 20}, 0));
  window->touchEnded(2, {20, 20}, 0);
  up(90, 90);
  EXPECT_EQ(view->log, (Log{"began", "ended"}));
  down(10, 10);
  down(10, 10);
  EXPECT_EQ(view->log, (Log{"began", "ended", "began", "cancelled", "began"})) << "the end of a touch was lost";
}

TEST_F(TouchTest, ViewMayBeRemovedDuringAnyTouchPhase) {
  const std::pair<std::string, Log> cases[] = {{"began", {"began", "cancelled"}},
                                               {"moved", {"began", "moved", "cancelled"}},
                                               {"ended", {"began", "moved", "ended"}}};
  for (const auto& [phase, expected] : cases) {
    auto parent = add(CGRectMake(0, 0, 50, 50));
    auto view = add<TouchView>(CGRectMake(0, 0, 50, 50), parent);
    Log log;
    std::weak_ptr<UIView> watched = view;
    view->onTouch = [&log, &parent, phase = phase](const std::string& now) {
      log.push_back(now);
      if (now != phase) return;
      parent->removeFromSuperview();
      parent.reset();
    };
    view.reset();
    down(10, 10);
    move(11, 11);
    up(11, 11);
    EXPECT_TRUE(watched.expired()) << phase;
    EXPECT_EQ(log, expected);
  }
  auto last = add<TouchView>(CGRectMake(0, 0, 50, 50));
  last->onTouch = [&](const std::string& phase) {
    if (phase == "moved") window.reset();
  };
  down(10, 10);
  UIWindow& closing = *window;
  closing.touchMoved(0, {11, 11}, 0);
  EXPECT_EQ(last->log, (Log{"began", "moved", "cancelled"}));
}

TEST_F(TouchTest, RecognizedTapCancelsTheTouchOfItsView) {
  auto view = add<TouchView>(CGRectMake(0, 0, 50, 50));
  view->addGestureRecognizer(std::make_shared<UITapGestureRecognizer>([&] { view->log.push_back("tap"); }));
  down(10, 10);
  move(18, 14);
  up(18, 14);
  EXPECT_EQ(view->log, (Log{"began", "moved", "tap", "cancelled"}));

  view->log.clear();
  down(10, 10);
  move(30, 10);
  up(10, 10);
  EXPECT_EQ(view->log, (Log{"began", "moved", "ended"})) << "moved too far in between";
}

TEST_F(TouchTest, TapHandlerMayDestroyItsView) {
  auto view = add<TouchView>(CGRectMake(0, 0, 50, 50));
  std::weak_ptr<UIView> watched = view;
  auto token = std::make_shared<int>(7);
  view->addGestureRecognizer(std::make_shared<UITapGestureRecognizer>([&watched, token] {
    const auto owner = watched.lock();
    for (int i = 0; i < 100; ++i) owner->addGestureRecognizer(std::make_shared<UITapGestureRecognizer>(nullptr));
    owner->removeFromSuperview();
    EXPECT_EQ(*token, 7);
  }));
  view.reset();
  down(10, 10);
  up(10, 10);
  EXPECT_TRUE(watched.expired());
  EXPECT_EQ(token.use_count(), 1);
  EXPECT_FALSE(UITapGestureRecognizer(nullptr).activate());
}

TEST_F(TouchTest, ScrollViewTakesOverVerticalDrags) {
  auto scroll = add<UIScrollView>(CGRectMake(0, 0, 100, 100));
  auto child = add<TouchView>(CGRectMake(0, 0, 100, 300), scroll);
  down(50, 80);
  move(50, 60);
  EXPECT_EQ(child->log, (Log{"began", "moved"})) << "nothing to scroll yet";
  window->touchCancelled(0);

  scroll->setContentSize({100, 300});
  child->log.clear();
  down(50, 80);
  move(80, 71);
  EXPECT_EQ(scroll->contentOffset().y, 0);
  move(80, 69);
  move(80, 49);
  EXPECT_EQ(child->log, (Log{"began", "moved", "cancelled"}));
  EXPECT_EQ(scroll->contentOffset(), CGPointMake(0, 20)) << "counted from the point of the takeover";
  move(80, -1000);
  EXPECT_EQ(scroll->contentOffset().y, 200);
  up(80, -1000);
  EXPECT_EQ(child->log.size(), 3u);

  EXPECT_TRUE(window->scroll({50, 50}, 0, -30));
  EXPECT_EQ(scroll->contentOffset().y, 170);

  down(50, 50);
  move(50, 70);
  move(50, 80);
  EXPECT_EQ(scroll->contentOffset().y, 160) << "the next drag continues from there";
  up(50, 80);

  child->onTouch = [&](const std::string& phase) {
    if (phase == "cancelled") scroll->removeFromSuperview();
  };
  child->log.clear();
  down(50, 80);
  move(50, 60);
  move(50, 40);
  EXPECT_EQ(child->log, (Log{"began", "cancelled"})) << "it removed the view that took over";
}

TEST_F(TouchTest, ScrollViewDeceleratesUntilTouched) {
  auto scroll = add<UIScrollView>(CGRectMake(0, 0, 100, 100));
  scroll->setContentSize({100, 2000});
  auto shown = [&] { return scroll->layer().presentation(host.time).bounds.origin.y; };
  auto drag = [&](double rest = 0) {  // 1000 points per second
    down(50, 90);
    for (int i = 1; i <= 5; ++i) {
      stepTo(host.time + 0.01);
      move(50, 90 - i * 10);
    }
    stepTo(host.time + rest);
    up(50, 40);
  };
  drag();  // after the drag, deceleration alone would move the content by another 500 points
  EXPECT_EQ(shown(), 50);
  stepTo(host.time + 0.2);
  const double stopped = shown();
  EXPECT_NEAR(stopped, 50 + 500 * (1 - std::exp(-0.4)), 5);
  EXPECT_EQ(window->hitTest({50, 50}), scroll) << "it can be touched while decelerating";
  down(50, 50);
  up(50, 50);
  stepTo(host.time + 1);
  EXPECT_EQ(shown(), stopped);
  drag(0.2);
  EXPECT_FALSE(scroll->isDecelerating()) << "the finger had rested";
  scroll->setContentOffset({0, 1900});
  drag();
  EXPECT_FALSE(scroll->isDecelerating()) << "at the end of the content";
  EXPECT_TRUE(window->fling({50, 50}, 0, -10000)) << "a touchpad";
  stepTo(host.time + 10);
  EXPECT_EQ(shown(), 0);
  AnimationEngine::shared().setEnabled(false);
  drag();
  EXPECT_EQ(shown(), 50) << "without animations it neither decelerates nor jumps";
  AnimationEngine::shared().setEnabled(true);
}

class ControlTest : public TouchTest {
 protected:
  ControlTest() {
    control = add<UIControl>(CGRectMake(0, 0, 20, 20));
    for (const auto& [event, name] :
         {std::pair{UIControlEventTouchDown, "down"}, std::pair{UIControlEventTouchUpInside, "inside"},
          std::pair{UIControlEventTouchUpOutside, "outside"}, std::pair{UIControlEventTouchCancel, "cancel"}})
      control->addTarget([this, name = name](UIControl&) { log.push_back(name); }, event);
  }
  std::shared_ptr<UIControl> control;
  Log log;
};

TEST_F(ControlTest, TouchesBecomeControlEvents) {
  down(10, 10);
  EXPECT_TRUE(control->isHighlighted());
  move(10, 89);
  EXPECT_TRUE(control->isHighlighted()) << "tolerance for imprecise fingers";
  move(10, 91);
  EXPECT_FALSE(control->isHighlighted());
  move(10, 15);
  EXPECT_TRUE(control->isHighlighted());
  up(10, 15);
  EXPECT_FALSE(control->isHighlighted());
  EXPECT_EQ(log, (Log{"down", "inside"}));

  log.clear();
  down(10, 10);
  up(10, 30);
  down(10, 10);
  control->setEnabled(false);
  EXPECT_FALSE(control->isHighlighted());
  up(10, 10);
  EXPECT_TRUE(down(10, 10)) << "a disabled control still blocks touches from the host";
  up(10, 10);
  EXPECT_EQ(log, (Log{"down", "outside", "down"})) << "and sends no events";
  log.clear();
  control->setEnabled(true);
  down(10, 10);
  control->removeFromSuperview();
  EXPECT_FALSE(control->isHighlighted());
  EXPECT_EQ(log, (Log{"down", "cancel"}));
}

}  // namespace
}  // namespace oq
