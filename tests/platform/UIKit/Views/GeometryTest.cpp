// SPDX-License-Identifier: Apache-2.0
#include <cmath>
#include <limits>

#include "platform/UIKit/Windows/ScriptedHost.h"

namespace oq {
namespace {

class GeometryTest : public UIKitTest {};

/// Records whether it has a window each time it is added to a window or removed from one.
class MovingView : public UIView {
 public:
  void didMoveToWindow() override { moves.push_back(window() != nullptr); }
  std::vector<bool> moves;
};

TEST_F(GeometryTest, FrameFollowsTheBoundsAndPointsAreConvertedThroughScrolledAncestors) {
  auto view = add(CGRectMake(10, 20, 40, 60));
  view->setBounds(CGRectMake(0, 7, 40, 20));
  EXPECT_EQ(view->frame(), CGRectMake(10, 40, 40, 20)) << "grows and shrinks around its centre";
  view->setFrame(CGRectMake(0, 0, 10, 10));
  EXPECT_EQ(view->bounds(), CGRectMake(0, 7, 10, 10));
  auto inner = add(CGRectMake(5, 40, 10, 10), view);
  EXPECT_EQ(inner->convertPointToWindow({1, 2}), CGPointMake(6, 35));
  EXPECT_EQ(inner->convertPointFromWindow({6, 35}), CGPointMake(1, 2));
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

  const auto sibling = std::make_shared<UIView>();
  second->insertSubview(sibling, 0);
  second->bringSubviewToFront(second->subviews().front());
  EXPECT_EQ(second->subviews(), (std::vector<std::shared_ptr<UIView>>{child, sibling}));
  EXPECT_EQ(child->moves.size(), 3u) << "reordering among siblings is not a move";
  window.reset();
  EXPECT_EQ(child->moves, (std::vector<bool>{true, false, true, false})) << "a view that outlives its window";
  EXPECT_EQ(second->superview(), nullptr);
}

}  // namespace
}  // namespace oq
