// SPDX-License-Identifier: Apache-2.0
#include "Host/Stage.h"

#include <gtest/gtest.h>

#include <cmath>

#include "Foundation/PropertyLists/KeyedArchiver.h"
#include "Model/OQWindowData.h"
#include "Pages/OQWebController.h"
#include "UI/OQPopWindow.h"
#include "UIKit/Controllers/UINavigationController.h"
#include "UIKit/Windows/UIApplication.h"
#include "UIKit/Windows/UIScreen.h"
#include "oqsdk/headless/HeadlessHost.h"
#include "oqsdk/oqsdk.h"
#include "support/ScratchFolder.h"

namespace oq {
namespace {

constexpr CGSize kSizes[] = {{320, 568}, {390, 844},  {540, 960},   {768, 1024},  {1080, 1920},
                             {800, 600}, {1280, 800}, {1920, 1080}, {3840, 2160}, {200, 200}};

/// A headless host with one and a half pixels per point.
class HeadlessStage : public testing::Test {
 protected:
  void resize(CGSize size) {
    _size = size;
    _host.setScreenSize(size.width, size.height);
  }

  void show(int style) {
    auto data = std::make_shared<OQWindowData>();
    data->setModelWithDic({{"style", style}, {"title", {{"text", "标题"}}}, {"content", {{"text", "正文"}}}});
    _window = makeMainObject<OQPopWindow>();
    _window->popWithData(data, [this](std::int64_t code, const JSONValue&) { _code = code; });
    _host.advance(0.3);
  }

  bool isDimmed(double x, double y) { return std::abs(_host.pixelAt(x, y).red - 179) <= 1; }

  /// Points at the window's edges, and just outside the stage if the window is larger.
  std::vector<CGPoint> outside(const Stage& stage) const {
    std::vector<CGPoint> points;
    for (const double part : {0.0, 0.25, 0.5, 0.75}) {
      const double x = part * (_size.width - 2) + 1, y = part * (_size.height - 2) + 1;
      points.insert(points.end(), {{x, 1}, {x, _size.height - 1}, {1, y}, {_size.width - 1, y}});
    }
    if (stage.origin.x > 2) points.push_back({stage.origin.x - 1, _size.height / 2});
    if (stage.origin.y > 2) points.push_back({_size.width / 2, stage.origin.y - 1});
    return points;
  }

  /// Checks that the message is on this stage, and closes it with its last button.
  void expectMessage(const Stage& stage) {
    EXPECT_EQ(UIScreen::mainScreen().bounds(), (CGRect{{}, stage.size}));
    for (const CGPoint point : outside(stage)) {
      EXPECT_TRUE(isDimmed(point.x, point.y)) << point.x << ", " << point.y;
      EXPECT_TRUE(_host.tap(point.x, point.y)) << point.x << ", " << point.y << " reaches the host";
    }
    const auto elements = _host.accessibleElements();
    const auto& button = elements.back();
    ASSERT_EQ(button.role, "button");
    EXPECT_TRUE(CGRectMake(0, 0, _size.width, _size.height).contains({button.x, button.y}));
    EXPECT_TRUE(_host.tap(button.x, button.y));
    _host.advance(0.2);
    EXPECT_EQ(_code, _window->data()->style() == 3 ? 5 : 3);
    EXPECT_FALSE(_host.tap(button.x, button.y)) << "taps reach the host again";
    EXPECT_FALSE(_host.tap(1, 1)) << "taps reach the host again";
    EXPECT_EQ(UIScreen::mainScreen().bounds(), (CGRect{{}, Stage::sizeFor(_size)}));
  }

  test::ScratchFolder _folder;
  HeadlessHost _host{{.scale = 1.5, .stage = 1.5, .dataDirectory = _folder.path()}};
  CGSize _size;
  std::shared_ptr<OQPopWindow> _window;
  std::int64_t _code = 0;
};

TEST_F(HeadlessStage, MessagesBlockTheHostAndKeepTheirStageWhileTheWindowIsResized) {
  std::vector<std::pair<CGSize, CGSize>> cases;  // the window's sizes when the message opens and later
  for (const CGSize size : kSizes) cases.emplace_back(size, size);
  for (const CGSize before : {kSizes[1], kSizes[6], kSizes[9]}) {
    for (const CGSize after : {kSizes[4], kSizes[5]}) cases.emplace_back(before, after);
  }
  for (const auto& [before, after] : cases) {
    for (int style = 1; style <= 4; ++style) {
      SCOPED_TRACE(testing::Message() << before.width << " to " << after.width << " style " << style);
      resize(before);
      show(style);
      resize(after);
      expectMessage(Stage::in(after, Stage::sizeFor(before), 1.5));
    }
  }
}

TEST_F(HeadlessStage, SecondMessageUsesTheStageOfTheFirst) {
  resize({390, 844});
  show(3);
  const auto first = _window;
  resize({1280, 800});
  show(1);
  EXPECT_EQ(UIScreen::mainScreen().bounds().size, Stage::sizeFor({390, 844}));
}

TEST_F(HeadlessStage, PageIsLaidOutAgainAfterAResizeAndBlocksTheHost) {
  resize({390, 844});
  const auto root = UIApplication::sharedApplication().keyWindow()->rootViewController();
  const auto navigation = std::dynamic_pointer_cast<UINavigationController>(root);
  auto page = makeMainObject<OQWebController>(std::string("https://shop.example/"));
  navigation->pushViewController(page, true);
  // To assistive technology the page is modal, as a message is. Unlike a message, it must be laid out again.
  navigation->view()->setAccessibilityViewIsModal(true);
  _host.advance(0.5);
  resize({1280, 800});
  const Stage stage = Stage::in(_size, {375, 620}, 1.5);
  EXPECT_EQ(page->view()->frame(), CGRectMake(0, 44, 375, 620 - 44));
  for (const double x : {1.0, stage.origin.x - 1, stage.toWindow({375, 0}).x + 1, 1279.0}) {
    EXPECT_TRUE(isDimmed(x, 400)) << x;
    EXPECT_TRUE(_host.tap(x, 400)) << x;
  }
  navigation->popViewControllerAnimated(true);
  _host.advance(0.5);
  EXPECT_FALSE(_host.tap(1, 400));
  EXPECT_EQ(_host.pixelAt(1, 400).red, 255);
  // What the closed page still does has no effect.
  const auto closed = _host.pages().at(0);
  page.reset();
  closed->confirm("late");
  closed->finish("late");
  EXPECT_FALSE(closed->isOpen());
  EXPECT_EQ(closed->openDialogs(), 0);
}

TEST_F(HeadlessStage, FloatingBallNeitherFixesTheStageNorBlocksTheHostsTouches) {
  resize({390, 844});
  OQFloatingBall::show();
  resize({1280, 800});
  EXPECT_EQ(UIScreen::mainScreen().bounds(), CGRectMake(0, 0, 375, 620));
  EXPECT_FALSE(_host.tap(1, 400));
  EXPECT_EQ(_host.pixelAt(1, 400).red, 255);
  OQFloatingBall::hide();
}

/// A campaign without font sizes gets the default size when it is fetched. The size is stored with the campaign, which
/// is later shown in windows of other sizes.
TEST_F(HeadlessStage, StoredDefaultFontSizeIsRightInEveryWindowSize) {
  resize({1280, 800});
  auto fetched = std::make_shared<OQWindowData>();
  fetched->setModelWithDic({{"style", 3}, {"buttonLeft", {{"text", "左"}}}});
  const Data archive = KeyedArchiver::archivedDataWithRootObjects({fetched});
  for (const CGSize size : kSizes) {
    resize(size);
    const auto stored = KeyedUnarchiver::unarchiveArrayOf<OQWindowData>(archive);
    _window = makeMainObject<OQPopWindow>();
    _window->popWithData(stored->front(), nullptr);
    EXPECT_NEAR(_window->leftBtn()->titleLabel().font().pointSize(), 375 / 590.5 * 30, 1e-5) << size.width;
    _window->closeWithCompletion(nullptr);
    _host.advance(0.5);
  }
}

}  // namespace
}  // namespace oq
