// SPDX-License-Identifier: Apache-2.0
#include "UIKit/Views/Animation.h"

#include <cmath>

#include "platform/UIKit/Windows/ScriptedHost.h"

namespace oq {
namespace {

/// The arguments with which a completion was called.
struct Outcome : std::vector<bool> {
  auto record() {
    return [this](bool value) { push_back(value); };
  }
  bool isFinishedOnce() const { return *this == std::vector<bool>{true}; }
  bool isUnfinishedOnce() const { return *this == std::vector<bool>{false}; }
};

class AnimationTest : public UIKitTest {
 protected:
  std::shared_ptr<UIView> view = add(CGRectMake(0, 0, 10, 10));

  void fade(double to, double duration, std::function<void(bool)> completion = nullptr) {
    UIView::animateWithDuration(
        duration, [this, to] { view->setAlpha(to); }, std::move(completion));
  }
  static void animate(double duration, Outcome& outcome, std::function<void()> block) {
    UIView::animateWithDuration(duration, std::move(block), outcome.record());
  }
  double shownAlpha() const { return view->layer().presentation(host.time).opacity; }
  /// Lets 100 seconds pass, after which a test can check that no completion was called a second time.
  void settle() {
    stepTo(host.time + 100);
    runMainQueue();
    EXPECT_FALSE(AnimationEngine::shared().isRunning());
  }
};

TEST_F(AnimationTest, ModelChangesImmediatelyAndTheScreenFollows) {
  Outcome outcome;
  host.time = 5;
  fade(0, 0.2, outcome.record());
  EXPECT_EQ(view->alpha(), 0);
  EXPECT_EQ(shownAlpha(), 1);
  EXPECT_DOUBLE_EQ(host.deadline, 5.2);

  // Standard values of the ease-in-out curve.
  const std::vector<std::pair<double, double>> curve = {{0.05, 0.129162}, {0.1, 0.5}, {0.15, 0.870838}};
  for (const auto& [elapsed, progress] : curve) {
    stepTo(5 + elapsed);
    EXPECT_NEAR(shownAlpha(), 1 - progress, 1e-5) << elapsed;
  }
  EXPECT_TRUE(outcome.empty());
  host.frames = 0;
  stepTo(5.2);
  EXPECT_EQ(shownAlpha(), 0);
  EXPECT_EQ(host.frames, 1) << "the final frame";
  EXPECT_TRUE(outcome.isFinishedOnce());
  EXPECT_EQ(host.deadline, std::numeric_limits<double>::infinity());
  settle();
  EXPECT_TRUE(outcome.isFinishedOnce());
}

TEST_F(AnimationTest, ReplacementStartsFromTheValueOnScreen) {
  Outcome first, second;
  animate(1, first, [&] {
    view->setAlpha(0);
    view->setCenter({50, 50});
  });
  stepTo(0.5);
  fade(1, 1, second.record());
  EXPECT_NEAR(shownAlpha(), 0.5, 1e-9);
  runMainQueue();
  EXPECT_TRUE(first.empty()) << "its other property is still animated";
  stepTo(1);
  EXPECT_TRUE(first.isUnfinishedOnce());
  stepTo(1.5);
  EXPECT_TRUE(second.isFinishedOnce());
  settle();
  EXPECT_EQ(first.size() + second.size(), 2u);
}

TEST_F(AnimationTest, SettingOutsideABlockEndsTheAnimation) {
  Outcome outcome;
  fade(0, 1, outcome.record());
  stepTo(0.5);
  view->setAlpha(0);
  EXPECT_TRUE(view->layer().isAnimating()) << "an equal value changes nothing";
  view->setAlpha(0.25);
  EXPECT_EQ(shownAlpha(), 0.25);
  EXPECT_TRUE(outcome.empty()) << "never called from the setter";
  EXPECT_EQ(host.deadline, std::numeric_limits<double>::infinity());
  runMainQueue();
  EXPECT_TRUE(outcome.isUnfinishedOnce());
  settle();
  EXPECT_EQ(outcome.size(), 1u);
}

TEST_F(AnimationTest, BlocksWithoutMotionStillComplete) {
  auto detached = std::make_shared<UIView>();
  const std::function<void()> stillBlocks[] = {[] {}, nullptr, [&] { view->setAlpha(1); },
                                               [&] { view->setHidden(true); }, [&] { detached->setAlpha(0); }};
  for (const auto& block : stillBlocks) {
    Outcome outcome;
    animate(1, outcome, block);
    EXPECT_TRUE(outcome.empty()) << &block - stillBlocks;
    EXPECT_FALSE(AnimationEngine::shared().isRunning()) << &block - stillBlocks;
    runMainQueue();
    EXPECT_TRUE(outcome.isFinishedOnce()) << &block - stillBlocks;
  }
  double alpha = 0.3;
  for (const double duration : {0.0, -1.0, std::nan(""), HUGE_VAL}) {
    Outcome outcome;
    animate(duration, outcome, [&] { view->setAlpha(alpha += 0.1); });
    EXPECT_EQ(shownAlpha(), alpha) << duration;
    runMainQueue();
    EXPECT_TRUE(outcome.isFinishedOnce()) << duration;
  }
}

TEST_F(AnimationTest, ChangesAfterABlockThatThrowsAreNotAnimated) {
  EXPECT_THROW(UIView::animateWithDuration(1, [] { throw 1; }), int);
  view->setAlpha(0);
  EXPECT_FALSE(view->layer().isAnimating());
}

TEST_F(AnimationTest, CompletionMayDestroyTheViewAndItsNeighbours) {
  auto neighbour = add(CGRectMake(0, 0, 10, 10));
  Outcome neighbours;
  animate(2, neighbours, [&] { neighbour->setAlpha(0); });
  std::weak_ptr<UIView> watched = view;
  fade(0, 1, [&](bool) {
    view->removeFromSuperview();
    view.reset();
    neighbour->removeFromSuperview();
    neighbour.reset();
  });
  stepTo(1);
  EXPECT_TRUE(watched.expired());
  EXPECT_TRUE(neighbours.isUnfinishedOnce());
  settle();
}

TEST_F(AnimationTest, LeavingTheWindowEndsAnimationsOfTheSubtree) {
  enum class Way { Remove, RemoveParent, CloseWindow };
  for (Way way : {Way::Remove, Way::RemoveParent, Way::CloseWindow}) {
    auto parent = add(CGRectMake(0, 0, 10, 10));
    view = add(CGRectMake(0, 0, 10, 10), parent);
    Outcome outcome;
    fade(0, 1, outcome.record());
    if (way == Way::Remove) view->removeFromSuperview();
    if (way == Way::RemoveParent) parent->removeFromSuperview();
    if (way == Way::CloseWindow) window.reset();
    EXPECT_FALSE(AnimationEngine::shared().isRunning());
    EXPECT_EQ(shownAlpha(), 0);
    runMainQueue();
    EXPECT_TRUE(outcome.isUnfinishedOnce()) << static_cast<int>(way);
    settle();
    EXPECT_EQ(outcome.size(), 1u);
  }
}

}  // namespace
}  // namespace oq
