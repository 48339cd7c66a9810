// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "Canvas.h"
#include "UIKit/Painting/LayerContent.h"
#include "UIKit/Painting/Painter.h"
#include "UIKit/Views/UIProgressView.h"
#include "UIKit/Views/UIScrollView.h"

namespace oq {
namespace {

using namespace test;

constexpr UIColor red = UIColor::redColor(), green = UIColor::greenColor(), blue{0, 0, 1, 1};

/// A view whose content has the same colour everywhere. The colour is not its background.
class InkView : public UIView {
 public:
  InkView(CGRect frame, UIColor color) : UIView(frame), _color(color) {}

 protected:
  std::shared_ptr<LayerContent> makeContent(CGSize size) override {
    return std::make_shared<LayerContent>(size, [color = _color](cairo_t* cr) {
      cairo_set_source_rgba(cr, color.red, color.green, color.blue, color.alpha);
      cairo_paint(cr);
    });
  }

 private:
  UIColor _color;
};

class Painting : public testing::Test {
 protected:
  std::shared_ptr<UIView> add(CGRect frame, UIColor color, const std::shared_ptr<UIView>& parent = nullptr) {
    return add(std::make_shared<UIView>(frame), color, parent);
  }
  template <class V>
  std::shared_ptr<V> add(std::shared_ptr<V> view, UIColor color, const std::shared_ptr<UIView>& parent = nullptr) {
    view->setBackgroundColor(color);
    (parent ? parent : std::static_pointer_cast<UIView>(window))->addSubview(view);
    return view;
  }
  Color look(int x, int y) { return Canvas(*window).at(x, y); }

  std::shared_ptr<UIWindow> window = std::make_shared<UIWindow>(CGRectMake(0, 0, 100, 100));
  const UIColor clear = UIColor::clearColor();
};

TEST_F(Painting, PaintsShadowThenBackgroundContentAndSubviews) {
  auto view = add(std::make_shared<InkView>(CGRectMake(10, 10, 50, 50), blue.withAlphaComponent(0.5)), red);
  view->layer().setShadowOpacity(0.5);
  view->layer().setShadowOffset({0, 10});
  add(CGRectMake(0, 0, 10, 10), green, view);
  EXPECT_EQ(look(15, 15), kGreen);
  EXPECT_TRUE(look(40, 40).isNear({127, 0, 127})) << "content above the background";
  EXPECT_LT(look(40, 65).red, 200) << "the shadow";
  view->setBackgroundColor(clear);
  EXPECT_LT(look(40, 65).red, 255) << "the shadow of the content";
  view->setBackgroundColor(red);
  view->setClipsToBounds(true);
  EXPECT_EQ(look(40, 65), kWhite) << "clipping also removes the shadow, which is outside";
}

TEST_F(Painting, StacksSubviewsByZPositionAndThenByOrder) {
  auto low = add(CGRectMake(0, 0, 50, 50), red), high = add(CGRectMake(0, 0, 50, 50), green);
  add(CGRectMake(0, 0, 50, 50), blue);
  EXPECT_EQ(look(25, 25), kBlue);
  low->layer().setZPosition(1);
  EXPECT_EQ(look(25, 25), kRed);
  high->layer().setZPosition(1);
  EXPECT_EQ(look(25, 25), kGreen);
}

TEST_F(Painting, TranslucentViewIsBlendedTogetherWithItsSubviews) {
  const Color paleRed{255, 127, 127}, paleGreen{127, 255, 127}, paleBlue{127, 127, 255};
  auto view = add(CGRectMake(0, 0, 50, 50), red);
  view->setAlpha(0.5);
  EXPECT_TRUE(look(25, 25).isNear(paleRed));
  auto child = add(CGRectMake(10, 10, 20, 20), green, view);
  EXPECT_TRUE(look(5, 5).isNear(paleRed));
  EXPECT_TRUE(look(25, 25).isNear(paleGreen)) << "the superview does not shine through";
  view->setBackgroundColor(clear);
  EXPECT_TRUE(look(25, 25).isNear(paleGreen)) << "the only subview";
  add(CGRectMake(0, 0, 5, 5), blue, child);
  EXPECT_TRUE(look(12, 12).isNear(paleBlue)) << "a subview with two parts";
  auto ink = add(std::make_shared<InkView>(CGRectMake(60, 0, 20, 20), blue), clear);
  ink->setAlpha(0.5);
  EXPECT_TRUE(look(70, 10).isNear(paleBlue)) << "content";
  auto shadowed = add(CGRectMake(60, 60, 30, 30), red);
  shadowed->setAlpha(0.5);
  shadowed->layer().setShadowOpacity(1);
  EXPECT_TRUE(look(75, 75).isNear(paleRed)) << "its shadow does not shine through";
}

TEST_F(Painting, SkipsInvisibleViews) {
  add(CGRectMake(0, 0, 50, 50), red)->setHidden(true);
  add(CGRectMake(0, 0, 50, 50), red)->setAlpha(0.001);
  auto closed = add(CGRectMake(0, 50, 50, 0), red);  // a card before it opens
  closed->setClipsToBounds(true);
  add(CGRectMake(0, 0, 50, 50), red, closed);
  EXPECT_EQ(Canvas(*window).ink().pixels, 0);

  // A view outside the window may have subviews inside it.
  auto outside = add(CGRectMake(-50, 0, 50, 50), red);
  add(CGRectMake(60, 0, 10, 10), green, outside);
  EXPECT_EQ(look(15, 5), kGreen);
}

TEST_F(Painting, ClipsToTheBoundsAndRoundsTheCorners) {
  auto view = add(CGRectMake(10, 10, 40, 40), red);
  auto child = add(CGRectMake(20, 20, 60, 60), blue, view);
  EXPECT_EQ(look(60, 60), kBlue);
  view->setClipsToBounds(true);
  EXPECT_EQ(look(60, 60), kWhite);
  EXPECT_EQ(look(49, 49), kBlue);
  view->layer().setCornerRadius(20);
  EXPECT_EQ(look(11, 11), kWhite);
  EXPECT_EQ(look(48, 48), kWhite) << "the superview's corners clip the subview";
  EXPECT_EQ(look(30, 12), kRed);
  view->setClipsToBounds(false);
  EXPECT_EQ(look(11, 11), kWhite) << "a background is always rounded";
  EXPECT_EQ(look(60, 60), kBlue);

  child->setHidden(true);
  auto ink = add(std::make_shared<InkView>(CGRectMake(50, 50, 40, 40), green), clear);
  EXPECT_EQ(look(51, 51), kGreen);
  ink->layer().setCornerRadius(20);
  EXPECT_EQ(look(51, 51), kWhite) << "content is rounded, too";
  EXPECT_EQ(look(70, 70), kGreen);
}

TEST_F(Painting, ShowsScrollIndicatorOnlyIfContentIsLarger) {
  auto scroll = add(std::make_shared<UIScrollView>(), clear);
  scroll->setFrame(CGRectMake(0, 0, 50, 100));
  scroll->setContentSize({50, 400});
  auto ink = [&] { return Canvas(*window).ink(); };
  const auto atTop = ink();
  EXPECT_TRUE(atTop.left > 50 && atTop.right < 60 && atTop.top < 5) << "next to the view, because there is space";
  scroll->setFrame(CGRectMake(50, 0, 50, 100));
  scroll->setContentOffset({0, 300});
  const auto atEnd = ink();
  EXPECT_TRUE(atEnd.left > 90 && atEnd.right == 98 && atEnd.bottom > 95) << "inside, because there is no space";
  EXPECT_EQ(atEnd.bottom - atEnd.top, atTop.bottom - atTop.top);
  scroll->setShowsVerticalScrollIndicator(false);
  EXPECT_EQ(ink().pixels, 0);
  scroll->setShowsVerticalScrollIndicator(true);
  scroll->setContentSize({50, 100});
  EXPECT_EQ(ink().pixels, 0);
}

TEST_F(Painting, AlignsEdgesAndContentsToWholePixels) {
  add(CGRectMake(10.4, 10.4, 20.2, 20.2), red);
  auto ink = add(std::make_shared<InkView>(CGRectMake(60.3, 10.3, 20, 20), blue), clear);
  for (double scale : {1.0, 2.0, 1.5}) {
    Canvas canvas(*window, scale);
    for (int y = 0; y < canvas.height(); ++y) {
      for (int x = 0; x < canvas.width(); ++x) {
        Color c = canvas.at(x, y);
        ASSERT_TRUE(c == kWhite || c == kRed || c == kBlue) << c << " at " << x << ", " << y << ", scale " << scale;
      }
    }
    EXPECT_EQ(canvas.at(std::lround(20 * scale), std::lround(20 * scale)), kRed);
    EXPECT_EQ(canvas.at(std::lround(70 * scale), std::lround(20 * scale)), kBlue);
  }
}

TEST_F(Painting, FillsAProgressBarFromTheLeft) {
  auto bar = add(std::make_shared<UIProgressView>(CGRectMake(0, 0, 100, 10)), clear);
  bar->setTintColor(green);
  bar->setProgress(0.25f);
  bar->setProgress(std::nanf(""));
  EXPECT_EQ(look(20, 5), kGreen);
  EXPECT_TRUE(look(30, 5).isNear({235, 235, 235})) << look(30, 5);
  bar->setProgress(7);
  EXPECT_EQ(look(99, 5), kGreen);
}

TEST_F(Painting, SurroundingsHaveTheColorOfTheViewThatFillsThem) {
  auto parent = add(CGRectMake(0, 0, 100, 100), red);
  auto dim = add(CGRectMake(0, 0, 100, 100), UIColor::blackColor().withAlphaComponent(0.3), parent);
  EXPECT_EQ(surroundingsColor(*window, 0).alpha, 0);
  dim->setFillsSurroundings(true);
  parent->setAlpha(0.5);
  EXPECT_NEAR(surroundingsColor(*window, 0).alpha, 0.15, 1e-9);
  parent->setHidden(true);
  EXPECT_EQ(surroundingsColor(*window, 0).alpha, 0);
}

}  // namespace
}  // namespace oq
