// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "UIKit/Text/TextLayout.h"
#include "UIKit/Views/UILabel.h"
#include "platform/UIKit/Painting/Canvas.h"

namespace oq {
namespace {

using namespace test;

const UIFont kFont = UIFont::fontWithName("PingFangSC-Regular", 16);
const std::string kMixed =
    "限时优惠：所有商品八折起，直接 checkout at the till 🎉 and a longer Latin sentence so that lines break "
    "每日精选好物。";
const std::string kLatin = "The quick brown fox jumps over the lazy dog, again and again and again";

NSAttributedString styled(std::string text, NSTextAlignment alignment = NSTextAlignment::Natural, double spacing = 0) {
  return {std::move(text), {spacing, alignment}};
}

void draw(Canvas& canvas, const NSAttributedString& text, CGRect rect, int lines = 0, bool centered = false) {
  drawText(canvas.cr(), text, kFont, UIColor::blackColor(), rect, lines, centered);
}

TEST(Text, InkIsWithinTheMeasuredSize) {
  for (const auto& text : {styled(kMixed, NSTextAlignment::Justified, 8), styled(kLatin), styled("one"),
                           styled("two\nlines\n", NSTextAlignment::Left, 3)}) {
    CGSize size = boundingSizeOfText(text, kFont, 200);
    Canvas roomy(240, 400), exact(240, 400);
    draw(roomy, text, CGRectMake(10, 10, 200, 380));
    draw(exact, text, CGRectMake(10, 10, 200, size.height));
    EXPECT_TRUE(roomy.isSameAs(exact)) << "the measured height cuts off a line: " << text.string;
    auto ink = exact.ink();
    EXPECT_GE(ink.top, 10);
    EXPECT_LE(ink.bottom, std::ceil(10 + size.height));
    EXPECT_LE(ink.right, std::ceil(10 + size.width) + 1);
  }
}

TEST(Text, SpacingIsOnlyBetweenLines) {
  double one = boundingSizeOfText(styled("one"), kFont, 200).height;
  EXPECT_EQ(boundingSizeOfText(styled("one", NSTextAlignment::Justified, 8), kFont, 200).height, one);
  EXPECT_NEAR(boundingSizeOfText(styled("one\ntwo\nthree", NSTextAlignment::Justified, 8), kFont, 200).height,
              3 * one + 2 * 8, 0.1);
  // Fallback fonts do not make line distances uneven.
  double mixed = boundingSizeOfText(styled("限"), kFont, 200).height;
  EXPECT_NEAR(boundingSizeOfText(styled("one\n限\nthree"), kFont, 200).height, 3 * mixed, 0.1);
}

TEST(Text, EmptyTextHasNoSize) {
  EXPECT_EQ(boundingSizeOfText(styled(""), kFont, 200), CGSize());
  EXPECT_EQ(boundingSizeOfText(styled("a"), UIFont::fontWithName("x", 0), 200), CGSize());
  EXPECT_EQ(boundingSizeOfText(styled("a"), UIFont::fontWithName("x", std::nan("")), 200), CGSize());
  Canvas canvas(50, 50);
  draw(canvas, styled(""), CGRectMake(0, 0, 50, 50));
  EXPECT_EQ(canvas.ink().pixels, 0);
}

TEST(Text, InvalidTextOrSizesNeitherCrashNorTakeLong) {
  const double infinity = std::numeric_limits<double>::infinity();
  const std::string texts[] = {kMixed, "bad \xff\xfe \xe6\x88", std::string("nul\0inside", 10),
                               std::string(3'000'000, '\n'), std::string(200'000, '\x80')};
  for (const std::string& text : texts) {
    for (double width : {200.0, 0.0, -1.0, 3.4028234663852886e38, infinity, std::nan("")}) {
      CGSize size = boundingSizeOfText(styled(text, NSTextAlignment::Justified, 8), kFont, width);
      EXPECT_TRUE(std::isfinite(size.width) && std::isfinite(size.height)) << width;
      EXPECT_GT(size.height, 0) << width;
    }
  }
  // Breaking a long word takes time in proportion to its length; otherwise the test would exceed its time limit.
  EXPECT_LE(boundingSizeOfText(styled(std::string(1'000'000, 'x')), kFont, 200).width, 200);
  EXPECT_GT(boundingSizeOfText(styled(kMixed), kFont, 1e-9).height, 500);
  EXPECT_LT(boundingSizeOfText(styled("x"), UIFont::fontWithName("x", 1e12), 200).height, 1e5);
  Canvas canvas(50, 50);
  for (double height : {-5.0, 0.0, 1e12}) draw(canvas, styled(kMixed), CGRectMake(0, 0, 50, height), 0, true);
}

TEST(Text, IsAlignedLeftRightCenteredOrJustified) {
  auto inkOf = [](const std::string& text, NSTextAlignment alignment) {
    Canvas canvas(200, 60);
    draw(canvas, styled(text, alignment), CGRectMake(0, 0, 200, 60));
    return canvas.ink();
  };
  EXPECT_LT(inkOf("word", NSTextAlignment::Left).left, 4);
  EXPECT_GT(inkOf("word", NSTextAlignment::Right).right, 196);
  auto centered = inkOf("word", NSTextAlignment::Center);
  EXPECT_NEAR(centered.left, 200 - centered.right, 4);
  EXPECT_LT(inkOf("مرحبا", NSTextAlignment::Left).left, 6) << "left also means left for right-to-left text";
  // A justified line fills the width, except the last one.
  EXPECT_LT(inkOf("last line", NSTextAlignment::Justified).right, 120);
  const std::string twoLines = "several words that need two lines";
  EXPECT_GE(inkOf(twoLines, NSTextAlignment::Justified).right, 197);
  EXPECT_GT(inkOf(twoLines, NSTextAlignment::Justified).right, inkOf(twoLines, NSTextAlignment::Left).right);
  EXPECT_GE(inkOf("限时优惠所有商品八折起每日精选", NSTextAlignment::Justified).right, 197) << "also without spaces";
  EXPECT_LT(inkOf("one\ntwo", NSTextAlignment::Justified).right, 120) << "each paragraph has a last line";
}

TEST(Text, LongTextEndsInAnEllipsis) {
  double line = boundingSizeOfText(styled("one"), kFont, 150).height;
  auto paint = [](const std::string& text, int lines, double height) {
    auto canvas = std::make_unique<Canvas>(150, 200);
    draw(*canvas, styled(text), CGRectMake(0, 0, 150, height), lines);
    return canvas;
  };
  EXPECT_LE(paint(kLatin, 1, 200)->ink().bottom, line + 1);
  EXPECT_LE(paint(kLatin, 2, 200)->ink().bottom, 2 * line + 1);
  EXPECT_GT(paint(kLatin, 2, 200)->ink().bottom, line + 1);
  // Shows as many complete lines as fit, but at least one.
  EXPECT_TRUE(paint(kLatin, 0, 2.6 * line)->isSameAs(*paint(kLatin, 2, 200)));
  EXPECT_TRUE(paint(kLatin, 0, 1)->isSameAs(*paint(kLatin, 1, 200)));
  // The ellipsis is at the end of the last line, even if that line ends a paragraph.
  EXPECT_TRUE(paint("one\ntwo\nthree", 2, 200)->isSameAs(*paint("one\ntwo…", 2, 200)));
  // Text that fits is not changed.
  EXPECT_TRUE(paint("one\ntwo", 2, 200)->isSameAs(*paint("one\ntwo", 0, 200)));
}

TEST(Label, CentersItsTextVerticallyAndLaysItOutAgainForANewFont) {
  auto window = std::make_shared<UIWindow>(CGRectMake(0, 0, 150, 100));
  auto label = std::make_shared<UILabel>();
  label->setFrame(CGRectMake(0, 0, 150, 100));
  window->addSubview(label);
  auto ink = [&] { return Canvas(*window).ink(); };
  label->setText("x");
  EXPECT_NEAR(ink().top, 100 - ink().bottom, 8);
  const auto before = ink();
  const CGSize small = label->textSizeForWidth(150);
  label->setFont(UIFont::systemFontOfSize(40));
  EXPECT_GT(ink().pixels, before.pixels);
  EXPECT_GT(label->textSizeForWidth(150).height, 2 * small.height) << "a new font needs a new layout";
  label->setTextColor(UIColor::whiteColor());
  EXPECT_EQ(ink().pixels, 0);

  label->setTextAlignment(NSTextAlignment::Center);
  label->setAttributedText({"styled", {8, NSTextAlignment::Justified}});
  label->setText("plain");
  EXPECT_EQ(label->attributedText(), (NSAttributedString{"plain", {0, NSTextAlignment::Center}}));
}

}  // namespace
}  // namespace oq
