// SPDX-License-Identifier: Apache-2.0
#include "Host/Stage.h"

#include <gtest/gtest.h>

#include <cmath>

namespace oq {
namespace {

TEST(StageTest, EveryWindowShowsTheWholeStageCentered) {
  const struct {
    CGSize window;
    double height;  ///< of the stage
    double scale;
    CGPoint origin;
  } cases[] = {{{375, 700}, 700, 1, {0, 0}},            // filled, up to a ratio of 0.6
               {{390, 844}, 811.5385, 1.04, {0, 0}},    //
               {{1080, 1920}, 666.6667, 2.88, {0, 0}},  //
               {{300, 900}, 812, 0.8, {0, 125}},        // higher than the highest stage
               {{768, 1024}, 620, 1.5948, {84, 17}},    // between 0.6 and 1: 3/8 of the way from 1.6516 to 1.5
               {{1000, 1000}, 620, 1.5, {218, 35}},     // wide: at most 1.5
               {{1280, 800}, 620, 1.2903, {398, 0}},    // smaller than the limit
               {{3840, 2160}, 620, 1.5, {1638, 615}},   //
               {{200, 200}, 620, 0.3226, {39, 0}},      //
               {{0, 0}, 812, 1, {0, 0}}};               // not known yet
  for (const auto& each : cases) {
    SCOPED_TRACE(testing::Message() << each.window.width << "x" << each.window.height);
    const Stage stage = Stage::in(each.window, Stage::sizeFor(each.window), Stage::defaultMaximumScale);
    EXPECT_EQ(stage.size.width, 375);
    EXPECT_NEAR(stage.size.height, each.height, 1e-4);
    EXPECT_NEAR(stage.scale, each.scale, 1e-4);
    EXPECT_EQ(stage.origin, each.origin);
  }
}

/// The card must not jump when the window is resized: one more point of the window makes little difference.
TEST(StageTest, ScaleFollowsTheWindowWithoutJumps) {
  for (const double height : {300.0, 800.0, 1400.0}) {
    double before = 0;
    for (double width = 100; width < 3 * height; ++width) {
      const CGSize window{width, height};
      const Stage stage = Stage::in(window, Stage::sizeFor(window), 1.2);
      if (before > 0) {
        EXPECT_LT(std::abs(stage.scale - before), 0.01) << width << "x" << height;
      }
      before = stage.scale;
    }
  }
}

TEST(StageTest, StageThatKeepsItsSizeStillFits) {
  const Stage wide = Stage::in({1280, 800}, {375, 812}, 1.5);
  EXPECT_NEAR(wide.scale, 800.0 / 812, 1e-9);
  EXPECT_EQ(wide.origin, (CGPoint{455, 0}));
  const CGPoint inWindow = wide.toWindow({100, 200});
  EXPECT_NEAR(wide.toStage(inWindow).x, 100, 1e-9);
  EXPECT_NEAR(wide.toStage(inWindow).y, 200, 1e-9);
}

TEST(StageTest, PicturesArePreparedInHalfSteps) {
  const std::tuple<double, double, double> cases[] = {
      {1, 1, 1}, {1.5, 2, 3}, {1.04, 1, 1.5}, {0.32, 1, 0.5}, {375 / 390.0 * 1.04, 2, 2}};
  for (const auto& [scale, pixels, prepared] : cases)
    EXPECT_EQ((Stage{{375, 700}, scale, {}}).contentScale(pixels), prepared);
}

}  // namespace
}  // namespace oq
