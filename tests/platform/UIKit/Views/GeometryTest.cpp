// SPDX-License-Identifier: Apache-2.0
#include <cmath>
#include <limits>

#include "UIKit/Views/UIScrollView.h"
#include "platform/UIKit/Windows/ScriptedHost.h"

namespace oq {
namespace {

class GeometryTest : public UIKitTest {};

/// Records when it is added to a window's tree and removed from it.
class MovingView : public UIView {
 public:
  void didMoveToWindow() override { moves.push_back(window() != nullptr); }
  std::vector<bool> moves;
};

TEST_F(GeometryTest, FrameIsDerivedAndKeepsTheBoundsOrigin) {
  auto view = add(CGRectMake(10, 20, 40, 60));
  view->setBounds(CGRectMake(0, 7, 40, 20));
  EXPECT_EQ(view->center(), CGPointMake(30, 50));
  EXPECT_EQ(view->frame(), CGRectMake(10, 40, 40, 20)) << "grows and shrinks around its centre";

  view->setFrame(CGRectMake(0, 0, 10, 10));
  EXPECT_EQ(view->bounds(), CGRectMake(0, 7, 10, 10));
}

TEST_F(GeometryTest, PointsAreConvertedThroughScrolledAncestors) {
  auto outer = add(CGRectMake(10, 20, 50, 50));
  outer->setBounds(CGRectMake(0, 30, 50, 50));
  auto inner = add(CGRectMake(5, 40, 10, 10), outer);

  EXPECT_EQ(inner->convertPointToWindow({1, 2}), CGPointMake(16, 32));
  EXPECT_EQ(inner->convertPointFromWindow({16, 32}), CGPointMake(1, 2));
}

TEST_F(GeometryTest, OnlyARealChangeRequestsAFrame) {
  auto view = add(CGRectMake(10, 20, 40, 60));
  const LayerState before = view->layer().model();
  host.frames = 0;
  const double nan = std::numeric_limits<double>::quiet_NaN();
  view->setFrame(CGRectMake(10, 20, 40, 60));
  view->setAlpha(1);
  view->setHidden(false);
  view->setAlpha(nan);
  view->setFrame(CGRectMake(nan, 0, 1, 1));
  view->setBackgroundColor({0, 0, HUGE_VAL, 1});
  EXPECT_EQ(host.frames, 0);
  EXPECT_EQ(view->frame(), before.frame());
  EXPECT_EQ(view->alpha(), 1);

  view->setAlpha(0.5);
  EXPECT_EQ(host.frames, 1);
}

TEST_F(GeometryTest, SubviewHasOneSuperviewAndTreesHaveNoCycles) {
  auto first = add(CGRectMake(0, 0, 10, 10)), second = add(CGRectMake(0, 0, 10, 10));
  auto child = add<MovingView>(CGRectMake(0, 0, 5, 5), first);
  second->addSubview(child);
  EXPECT_TRUE(first->subviews().empty());
  EXPECT_EQ(child->superview(), second);
  EXPECT_EQ(child->moves, (std::vector<bool>{true, false, true}));

  child->addSubview(second);
  second->addSubview(second);
  second->addSubview(nullptr);
  EXPECT_EQ(second->superview(), window);
  EXPECT_TRUE(child->subviews().empty());

  second->insertSubview(std::make_shared<UIView>(), 0);
  second->bringSubviewToFront(second->subviews().front());
  EXPECT_EQ(second->subviews().front(), child);
  EXPECT_EQ(child->moves.size(), 3u) << "reordering among siblings is not a move";
}

TEST_F(GeometryTest, ViewThatOutlivesItsWindowIsNotified) {
  auto parent = add(CGRectMake(0, 0, 10, 10));
  auto child = add<MovingView>(CGRectMake(0, 0, 5, 5), parent);
  window.reset();
  EXPECT_EQ(child->moves, (std::vector<bool>{true, false}));
  EXPECT_EQ(parent->superview(), nullptr);
}

/// Moves to another view as soon as it is removed.
class RestlessView : public MovingView {
 public:
  void didMoveToWindow() override {
    MovingView::didMoveToWindow();
    if (!window() && !superview()) home->addSubview(shared_from_this());
  }
  std::shared_ptr<UIView> home;
};

TEST_F(GeometryTest, ViewThatMovesItselfIsInOneTree) {
  auto view = add<RestlessView>(CGRectMake(0, 0, 10, 10));
  view->home = add(CGRectMake(0, 0, 10, 10));
  auto other = add(CGRectMake(0, 0, 10, 10));
  other->addSubview(view);
  EXPECT_EQ(view->superview(), view->home);
  EXPECT_TRUE(other->subviews().empty());
  EXPECT_EQ(view->home->subviews().size(), 1u);
  view->home = nullptr;
}

TEST_F(GeometryTest, ScrollingIsClampedToTheContent) {
  auto view = add<UIScrollView>(CGRectMake(0, 0, 100, 50));
  view->setContentSize({100, 80});
  EXPECT_TRUE(view->scrollBy(5, 20));
  EXPECT_EQ(view->contentOffset(), CGPointMake(0, 20));
  EXPECT_TRUE(view->scrollBy(0, 100));
  EXPECT_EQ(view->contentOffset(), CGPointMake(0, 30));
  EXPECT_FALSE(view->scrollBy(0, 1)) << "left to the views below";
  view->setContentSize({100, 20});
  EXPECT_EQ(view->contentOffset(), CGPointMake(0, 0));
}

class ContentView : public UIView {
 public:
  int made = 0;

 protected:
  std::shared_ptr<LayerContent> makeContent(CGSize size) override {
    ++made;
    return std::make_shared<LayerContent>(size, [](cairo_t*) {});
  }
};

TEST_F(GeometryTest, ContentIsRecordedOncePerSize) {
  auto view = add<ContentView>(CGRectMake(0, 0, 10, 10));
  const auto recorded = view->content();
  view->setCenter({50, 50});
  EXPECT_EQ(view->content(), recorded);
  view->setBounds(CGRectMake(0, 0, 10, 0));
  EXPECT_EQ(view->content(), recorded) << "it may still be shrinking on screen";
  view->setBounds(CGRectMake(0, 0, 10, 20));
  EXPECT_EQ(view->content()->size(), CGSizeMake(10, 20));
  view->setNeedsDisplay();
  view->content();
  EXPECT_EQ(view->made, 3);
}

}  // namespace
}  // namespace oq
