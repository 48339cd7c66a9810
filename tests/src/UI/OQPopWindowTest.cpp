// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "Pages/OQNavigation.h"
#include "UI/OQPopWindow.h"
#include "UIKit/Windows/MainObject.h"
#include "UIKit/Windows/UIApplication.h"
#include "UIKit/Windows/UIWindow.h"
#include "oqsdk/headless/HeadlessHost.h"
#include "src/TemporaryFolder.h"

namespace oq {
namespace {

const std::string kLong = [] {
  std::string text;
  for (int i = 0; i < 200; ++i) text += "限时优惠 a long text ";
  return text;
}();

using Report = std::pair<std::int64_t, JSONValue>;

class PopWindow : public testing::Test {
 protected:
  explicit PopWindow(double width = 590.5, double height = 1274.5)
      : host({.width = width, .height = height, .dataDirectory = folder.path()}) {}

  static std::shared_ptr<OQWindowData> dataOfStyle(int style, const std::string& title = "",
                                                   const std::string& text = "") {
    auto data = std::make_shared<OQWindowData>();
    data->setModelWithDic({{"style", style},
                           {"clickEvent", "https://shop.example/picture"},
                           {"title", {{"text", title}}},
                           {"content", {{"text", text}}},
                           {"buttonLeft", {{"text", "左"}, {"clickEvent", "https://shop.example/left"}}},
                           {"buttonMiddle", {{"text", "中"}, {"clickEvent", "https://shop.example/middle"}}},
                           {"buttonRight", {{"text", "右"}, {"clickEvent", "https://shop.example/right"}}}});
    return data;
  }
  OQPopWindow::EventAction record() {
    return [this](std::int64_t code, const JSONValue& link) { reports.emplace_back(code, link); };
  }
  /// Shows the window and waits until it has opened.
  void open(std::shared_ptr<OQWindowData> data) {
    window->popWithData(std::move(data), record());
    host.advance(0.25);
  }
  void tapOn(UIView& view) {
    CGPoint at = view.convertPointToWindow(view.bounds().centre());
    EXPECT_TRUE(host.tap(at.x, at.y));
  }
  bool isOnScreen() const { return window->superview() != nullptr; }

  test::TemporaryFolder folder;
  HeadlessHost host;
  std::shared_ptr<OQPopWindow> window = makeMainObject<OQPopWindow>();
  std::vector<Report> reports;
};

void expectFrame(const UIView& view, CGRect expected, const char* what, double error = 1e-6) {
  CGRect frame = view.frame();
  EXPECT_NEAR(frame.minX(), expected.minX(), error) << what;
  EXPECT_NEAR(frame.minY(), expected.minY(), error) << what;
  EXPECT_NEAR(frame.size.width, expected.size.width, error) << what;
  EXPECT_NEAR(frame.size.height, expected.size.height, error) << what;
}

// The screen of these tests has the reference size, so that all numbers are the reference values.

TEST_F(PopWindow, LaysOutAPicture) {
  open(dataOfStyle(1));
  expectFrame(*window, CGRectMake(0, 0, 590.5, 1274.5), "window");
  expectFrame(*window->backgroundView(), CGRectMake(0, 0, 590.5, 1274.5), "background");
  expectFrame(*window->imgView(), CGRectMake(35.25, 247.25, 520, 780), "picture");
  expectFrame(*window->closeBtn(), CGRectMake(275.25, 1047.25, 40, 40), "close button");
  EXPECT_EQ(window->subviews(),
            (std::vector<std::shared_ptr<UIView>>{window->backgroundView(), window->imgView(), window->closeBtn()}));
  EXPECT_EQ(OQNavigation::keyWindow()->subviews().back(), window);
}

TEST_F(PopWindow, LaysOutPictureTextAndButton) {
  open(dataOfStyle(2, kLong, kLong));
  // budget 244.5: title 73.35, body 171.15; bottom 22.5 + 390 + 73.35 + 22.5 + 171.15 + 22.5 + 100.5
  expectFrame(*window->contentView(), CGRectMake(35.25, 236, 520, 802.5), "card");
  expectFrame(*window->imgView(), CGRectMake(0, 0, 520, 341.25), "picture");
  expectFrame(*window->titleLbl(), CGRectMake(22.5, 412.5, 475, 73.35), "title");
  expectFrame(*window->textScrollView(), CGRectMake(22.5, 508.35, 475, 171.15), "text");
  expectFrame(*window->middleBtn(), CGRectMake(0, 702, 520, 100.5), "button");
  expectFrame(*window->closeBtn(), CGRectMake(535.25, 216, 40, 40), "close button");
  EXPECT_EQ(window->leftBtn()->superview(), nullptr);
  EXPECT_FALSE(window->imgView()->isUserInteractionEnabled());
  tapOn(*window->imgView());
  host.advance(0.2);
  EXPECT_EQ(reports, (std::vector<Report>{{1, {}}})) << "a tap on the picture has no effect";
  EXPECT_TRUE(isOnScreen());
}

TEST_F(PopWindow, LaysOutTextAndTwoButtons) {
  open(dataOfStyle(3, kLong, kLong));
  // budget 634.5: title 190.35, body 444.15
  expectFrame(*window->contentView(), CGRectMake(35.25, 236, 520, 802.5), "card");
  expectFrame(*window->titleLbl(), CGRectMake(22.5, 22.5, 475, 190.35), "title");
  expectFrame(*window->textScrollView(), CGRectMake(22.5, 235.35, 475, 444.15), "text");
  expectFrame(*window->leftBtn(), CGRectMake(0, 702, 259.5, 100.5), "left");
  expectFrame(*window->rightBtn(), CGRectMake(260.5, 702, 259.5, 100.5), "right");
  double whole = window->textLbl()->frame().size.height;
  EXPECT_GT(whole, 444.15);
  EXPECT_EQ(window->textScrollView()->contentSize(), (CGSize{475, whole}));
  EXPECT_EQ(window->closeBtn()->superview(), nullptr);
  EXPECT_EQ(window->titleLbl()->attributedText().paragraphStyle, (NSParagraphStyle{8, NSTextAlignment::Justified}));
  EXPECT_EQ(window->titleLbl()->font(), UIFont::fontWithName("PingFangSC-Regular", 30));
  EXPECT_EQ(window->textLbl()->font(), UIFont::fontWithName("PingFangSC-Regular", 24));
}

TEST_F(PopWindow, MissingTextsHaveNoHeight) {
  auto data = std::make_shared<OQWindowData>();
  data->setStyle(3);
  open(data);
  expectFrame(*window->contentView(), CGRectMake(35.25, 553.25, 520, 168), "card");
  expectFrame(*window->leftBtn(), CGRectMake(0, 67.5, 259.5, 100.5), "left");
  // Even such a button can be tapped.
  tapOn(*window->rightBtn());
  host.advance(0.1);
  EXPECT_EQ(reports, (std::vector<Report>{{1, {}}, {5, {}}}));
}

/// Sizes on other screens, computed by hand from the constants: whole windows without texts, and with texts that fill
/// their budgets.
TEST(PopWindowOnScreens, SizesFollowTheConstants) {
  struct Case {
    double width, height;
    int style;
    bool isLong;
    CGRect card, close;  // no size: no close button
  };
  const Case cases[] = {
      {390, 844, 1, false, {{23.281, 164.422}, {343.438, 515.157}}, {{181.791, 692.787}, {26.418, 26.418}}},
      {390, 844, 2, false, {{23.281, 237.584}, {343.438, 368.831}}, {{353.510, 224.375}, {26.418, 26.418}}},
      {390, 844, 2, true, {{23.281, 156.972}, {343.438, 530.057}}, {{353.510, 143.763}, {26.418, 26.418}}},
      {390, 844, 3, false, {{23.281, 366.373}, {343.438, 111.253}}, {}},
      {390, 844, 3, true, {{23.281, 156.972}, {343.438, 530.057}}, {}},
      {390, 844, 4, false, {{23.281, 164.422}, {343.438, 515.157}}, {{181.791, 692.787}, {26.418, 26.418}}},
      {320, 568, 2, true, {{19.102, 67.640}, {281.795, 432.720}}, {{290.059, 56.802}, {21.677, 21.677}}},
      {1080, 1920, 2, true, {{64.471, 229.758}, {951.058, 1460.483}}, {{978.950, 193.179}, {73.158, 73.158}}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.width << "x" << c.height << " style " << c.style << (c.isLong ? " long" : ""));
    test::TemporaryFolder folder;
    HeadlessHost host({.width = c.width, .height = c.height, .dataDirectory = folder.path()});
    const char* text = c.isLong ? kLong.c_str() : "";
    auto data = std::make_shared<OQWindowData>();
    data->setModelWithDic({{"style", c.style}, {"title", {{"text", text}}}, {"content", {{"text", text}}}});
    auto window = makeMainObject<OQPopWindow>();
    window->popWithData(data, nullptr);
    host.advance(0.25);
    ASSERT_EQ(window->subviews().size(), c.close.isEmpty() ? 2u : 3u);
    expectFrame(*window->subviews()[1], c.card, "card", 0.001);
    if (!c.close.isEmpty()) expectFrame(*window->closeBtn(), c.close, "close button", 0.001);
    window->_close();  // without a callback
    host.advance(0.2);
    EXPECT_EQ(window->superview(), nullptr);
  }
}

TEST_F(PopWindow, CardOpensFromTheMiddle) {
  window->popWithData(dataOfStyle(3, kLong, kLong), record());
  host.advance(0.1);
  EXPECT_TRUE(reports.empty());
  EXPECT_EQ(host.pixelAt(295, 300), host.pixelAt(10, 10)) << "the card does not reach this point yet";
  EXPECT_NE(host.pixelAt(295, 480), host.pixelAt(10, 10));
  auto half = host.pixelAt(10, 10);
  EXPECT_NEAR(half.red, 255 * (1 - 0.3 * 0.6), 3);
  // An animated card ignores touches, and the host does not get them either.
  tapOn(*window->leftBtn());
  host.advance(0.2);
  EXPECT_EQ(reports, (std::vector<Report>{{1, {}}}));
  EXPECT_NEAR(host.pixelAt(10, 10).red, 255 * 0.7, 2);
  EXPECT_TRUE(window->isShowing());
}

TEST_F(PopWindow, ReportsEachActionOnceAfterTheWindowIsGone) {
  struct Case {
    int style;
    std::function<UIView&(OQPopWindow&)> view;
    Report report;
  };
  const Case cases[] = {
      {1, [](auto& w) -> UIView& { return *w.imgView(); }, {2, "https://shop.example/picture"}},
      {1, [](auto& w) -> UIView& { return *w.closeBtn(); }, {3, nullptr}},
      {2, [](auto& w) -> UIView& { return *w.closeBtn(); }, {3, nullptr}},
      {2, [](auto& w) -> UIView& { return *w.middleBtn(); }, {6, "https://shop.example/middle"}},
      {4, [](auto& w) -> UIView& { return *w.closeBtn(); }, {3, nullptr}},
      {3, [](auto& w) -> UIView& { return *w.leftBtn(); }, {4, "https://shop.example/left"}},
      {3, [](auto& w) -> UIView& { return *w.rightBtn(); }, {5, "https://shop.example/right"}},
  };
  for (const Case& c : cases) {
    reports.clear();
    window = makeMainObject<OQPopWindow>();
    bool goneAtReport = false;
    window->popWithData(dataOfStyle(c.style, "title", "text"),
                        [&, record = record()](std::int64_t code, const JSONValue& link) {
                          record(code, link);
                          goneAtReport = !isOnScreen() && !window->isShowing();
                        });
    host.advance(0.25);
    UIView& view = c.view(*window);
    CGPoint at = view.convertPointToWindow(view.bounds().centre());
    EXPECT_TRUE(host.tap(at.x, at.y));
    host.advance(1.0 / 60);
    // A second tap during the fade is neither reported nor passed to the host.
    EXPECT_TRUE(host.tap(at.x, at.y));
    EXPECT_EQ(reports, (std::vector<Report>{{1, {}}})) << "reported only after the fade";
    host.advance(0.2);
    EXPECT_EQ(reports, (std::vector<Report>{{1, {}}, c.report})) << "code " << c.report.first;
    EXPECT_TRUE(goneAtReport);
    EXPECT_FALSE(host.tap(295, 637)) << "no view takes touches any more";
  }
}

TEST_F(PopWindow, UnknownStyleShowsNothing) {
  for (int style : {0, 5, -1}) {
    auto data = dataOfStyle(style);
    open(data);
    EXPECT_EQ(window->data(), data);
    EXPECT_TRUE(window->eventAction());
    EXPECT_FALSE(isOnScreen());
    EXPECT_TRUE(reports.empty());
  }
}

TEST_F(PopWindow, SecondCallIsIgnoredWhileShownButNotWhileOpening) {
  auto first = dataOfStyle(3, "first"), second = dataOfStyle(1);
  window->popWithData(first, record());
  host.advance(0.1);
  window->popWithData(first, record());
  EXPECT_EQ(window->data(), first);
  host.advance(0.4);
  EXPECT_EQ(reports, (std::vector<Report>{{1, {}}, {1, {}}})) << "each opening reports";
  window->popWithData(second, record());
  host.advance(0.4);
  EXPECT_EQ(window->data(), first);
  // A button that was laid out twice reports once.
  reports.clear();
  tapOn(*window->leftBtn());
  host.advance(0.2);
  EXPECT_EQ(reports.size(), 1u);
  // After it was closed, the same window may be shown again.
  open(second);
  tapOn(*window->imgView());
  host.advance(0.2);
  EXPECT_EQ(reports.back(), (Report{2, "https://shop.example/picture"}));
}

TEST_F(PopWindow, SuperviewOwnsItUntilItCloses) {
  std::weak_ptr<OQPopWindow> weak = window;
  window->popWithData(dataOfStyle(3), record());
  auto button = window->leftBtn();
  window.reset();
  host.advance(0.25);
  ASSERT_FALSE(weak.expired());
  tapOn(*button);
  host.advance(0.2);
  EXPECT_TRUE(weak.expired());
  EXPECT_EQ(reports.back(), (Report{4, "https://shop.example/left"}));
}

/// A second attached window, in addition to the host's own.
class OtherScene {
 public:
  explicit OtherScene(UISceneVisibility visibility) {
    window = makeHostWindow(CGRectMake(0, 0, 300, 600));
    scene->addWindow(window);
    application.connectScene(scene);
    application.setSceneVisibility(*scene, visibility);
  }
  ~OtherScene() { application.disconnectScene(scene); }

  UIApplication& application = UIApplication::sharedApplication();
  std::shared_ptr<UIScene> scene = std::make_shared<UIScene>();
  std::shared_ptr<UIWindow> window;
};

TEST_F(PopWindow, WaitsUntilVisible) {
  const OtherScene neverShown(UISceneVisibility::NeverMapped);
  host.setActive(false);
  window->popWithData(dataOfStyle(2, "title", "text"), record());
  makeMainObject<OQPopWindow>()->popWithTitle("title", "text", record());
  host.advance(1);
  EXPECT_TRUE(reports.empty());
  EXPECT_FALSE(isOnScreen());

  host.setActive(true);
  host.advance(0.1);
  EXPECT_EQ(window->superview(), OQNavigation::keyWindow());
  EXPECT_TRUE(reports.empty()) << "the opening has only begun";
  host.advance(0.15);
  EXPECT_EQ(reports, (std::vector<Report>{{1, {}}, {-1, {}}}));
}

TEST_F(PopWindow, OpensAgainIfItsWindowWasHidden) {
  for (int style = 1; style <= 4; ++style) {
    reports.clear();
    window = makeMainObject<OQPopWindow>();
    window->popWithData(dataOfStyle(style, "title", "text"), record());
    host.advance(0.1);
    host.setActive(false);
    host.advance(1);
    EXPECT_TRUE(reports.empty()) << style;
    host.setActive(true);
    host.advance(0.1);
    EXPECT_TRUE(reports.empty()) << style;
    host.advance(0.15);
    EXPECT_EQ(reports, (std::vector<Report>{{1, {}}})) << style;
    EXPECT_FALSE(window->isHidden());
    window->_close();
    host.advance(0.1);
    EXPECT_EQ(reports.size(), 2u) << style;
  }
}

TEST_F(PopWindow, MovesToAnotherWindowIfItsOwnIsHiddenOrClosed) {
  open(dataOfStyle(3, "stays", "here"));
  const auto shown = std::exchange(window, makeMainObject<OQPopWindow>());
  auto other = std::make_unique<OtherScene>(UISceneVisibility::OnScreen);
  other->application.sceneWasUsed(*other->scene);
  window->popWithData(dataOfStyle(3, "title", "text"), record());
  host.advance(0.1);
  EXPECT_EQ(window->superview(), other->window);
  other->application.setSceneVisibility(*other->scene, UISceneVisibility::Hidden);
  host.advance(0.5);
  EXPECT_EQ(window->superview(), OQNavigation::keyWindow());
  EXPECT_EQ(reports, (std::vector<Report>{{1, {}}, {1, {}}}));
  EXPECT_EQ(shown->superview(), window->superview());

  // A waiting message continues to wait when the last window is closed.
  host.setActive(false);
  window = makeMainObject<OQPopWindow>();
  window->popWithData(dataOfStyle(3, "title", "text"), record());
  const auto hosts = UIApplication::sharedApplication().connectedScenes();
  for (const auto& scene : hosts) UIApplication::sharedApplication().disconnectScene(scene);
  host.advance(0.5);
  EXPECT_EQ(reports.size(), 2u);
  other = std::make_unique<OtherScene>(UISceneVisibility::OnScreen);
  host.advance(0.5);
  EXPECT_EQ(window->superview(), other->window);
  EXPECT_EQ(reports.size(), 3u);
}

TEST_F(PopWindow, ReportsEvenWithoutAnAttachedWindow) {
  const auto scene = UIApplication::sharedApplication().connectedScenes().front();
  UIApplication::sharedApplication().disconnectScene(scene);
  std::weak_ptr<OQPopWindow> weak = window;
  window->popWithData(dataOfStyle(2, "title", "text"), record());
  window.reset();
  EXPECT_FALSE(weak.expired()) << "the opening keeps it alive";
  host.advance(0.25);
  EXPECT_EQ(reports, (std::vector<Report>{{1, {}}}));
  EXPECT_TRUE(weak.expired());
}

TEST_F(PopWindow, SwitchesToTheMainQueue) {
  std::thread([&] { window->popWithData(dataOfStyle(3, "title"), record()); }).join();
  EXPECT_EQ(window->data(), nullptr);
  host.advance(0.25);
  EXPECT_EQ(reports, (std::vector<Report>{{1, {}}}));

  auto tool = makeMainObject<OQPopWindow>();
  std::thread([&] { tool->popWithTitle("title", "text", record()); }).join();
  EXPECT_EQ(tool->superview(), nullptr);
  host.advance(0.25);
  EXPECT_EQ(reports.back(), (Report{-1, {}}));
}

TEST_F(PopWindow, ShowsAToolPrompt) {
  window->popWithTitle("提示", std::nullopt, record());
  host.advance(0.25);
  EXPECT_EQ(window->titleLbl()->text(), "提示");
  EXPECT_EQ(window->textLbl()->text(), "未取到userId，请重启APP");
  EXPECT_EQ(window->leftBtn()->titleForState(UIControlStateNormal), "取消");
  EXPECT_EQ(window->rightBtn()->titleForState(UIControlStateNormal), "确定");
  EXPECT_EQ(window->textLbl()->font(), UIFont::fontWithName("PingFangSC-Regular", 24));
  tapOn(*window->rightBtn());
  host.advance(0.2);
  EXPECT_EQ(reports, (std::vector<Report>{{-1, {}}, {5, {}}}));
}

TEST_F(PopWindow, CallbackMayChangeTheCallback) {
  window->popWithData(dataOfStyle(1), [this, record = record()](std::int64_t code, const JSONValue& link) {
    window->setEventAction(nullptr);
    record(code, link);
    if (code == 1) window->setEventAction(record);
  });
  host.advance(0.25);
  tapOn(*window->closeBtn());
  host.advance(0.2);
  EXPECT_EQ(reports, (std::vector<Report>{{1, {}}, {3, {}}}));
}

TEST_F(PopWindow, OnlyTheFirstOfTwoFingersCounts) {
  open(dataOfStyle(3, "title", "text"));
  auto root = OQNavigation::keyWindow();
  auto middle = [](UIView& view) { return view.convertPointToWindow(view.bounds().centre()); };
  root->touchBegan(1, middle(*window->leftBtn()), 0);
  root->touchBegan(2, middle(*window->rightBtn()), 0);
  root->touchEnded(1, middle(*window->leftBtn()), 0);
  root->touchEnded(2, middle(*window->rightBtn()), 0);
  host.advance(0.2);
  EXPECT_EQ(reports, (std::vector<Report>{{1, {}}, {4, "https://shop.example/left"}}));
}

TEST_F(PopWindow, UsesTheColoursOfItsRecord) {
  auto data = std::make_shared<OQWindowData>();
  data->setModelWithDic({{"style", 3},
                         {"title", {{"text", " "}, {"background", "#102030"}}},
                         {"content", {{"text", kLong}, {"color", "#405060"}, {"background", "#405060"}}},
                         {"buttonLeft", {{"background", "#708090"}}},
                         {"buttonRight", {{"background", "#a0b0c0"}}}});
  open(data);
  using Pixel = HeadlessHost::Pixel;
  auto at = [&](UIView& view, double x, double y) {
    CGPoint point = view.convertPointToWindow({x, y});
    return host.pixelAt(point.x, point.y);
  };
  EXPECT_EQ(at(*window->titleLbl(), 20, 10), (Pixel{0x10, 0x20, 0x30}));
  EXPECT_EQ(at(*window->textScrollView(), 200, 200), (Pixel{0x40, 0x50, 0x60}));
  EXPECT_EQ(at(*window->leftBtn(), 258, 50), (Pixel{0x70, 0x80, 0x90}));
  EXPECT_EQ(at(*window->rightBtn(), 1, 50), (Pixel{0xa0, 0xb0, 0xc0}));
  EXPECT_EQ(at(*window->contentView(), 5, 5), (Pixel{255, 255, 255}));
  EXPECT_EQ(at(*window, 5, 5), (Pixel{179, 179, 179})) << "0.3 of black";
  host.setScale(2);
  EXPECT_NEAR(at(*window->contentView(), 260, window->leftBtn()->frame().minY() + 50).red, 255, 1)
      << "the gap between the buttons";
}

class PopWindowOnThePhone : public PopWindow {
 protected:
  PopWindowOnThePhone() : PopWindow(375, 812) {}
};

TEST_F(PopWindowOnThePhone, CloseButtonReactsAroundItButNotOnTheCard) {
  struct Case {
    int style;
    CGPoint fromItsCentre;
    std::int64_t code;  // 1: it stays open
  };
  // The button's picture is 25 points wide.
  const Case cases[] = {{1, {21, 21}, 3},  {1, {-21, -21}, 3}, {1, {0, 23}, 1},   {1, {0, -27}, 2},
                        {2, {21, -21}, 3}, {2, {-21, -21}, 3}, {2, {-12, 12}, 3}, {2, {-12, 14}, 1},
                        {2, {-21, 21}, 1}, {4, {21, -21}, 3}};
  for (const auto& [style, offset, code] : cases) {
    SCOPED_TRACE(testing::Message() << style << " at " << offset.x << ", " << offset.y);
    reports.clear();
    window = makeMainObject<OQPopWindow>();
    open(dataOfStyle(style, "title", kLong));
    const CGPoint centre = window->closeBtn()->center();
    host.tap(centre.x + offset.x, centre.y + offset.y);
    host.advance(0.1);
    EXPECT_EQ(reports.back().first, code);
    window->removeFromSuperview();
  }
}

TEST_F(PopWindowOnThePhone, PointerShowsWhatCanBePressed) {
  open(dataOfStyle(1));
  auto isPressable = [&](const UIView& view) {
    const CGPoint at = view.convertPointToWindow(view.bounds().centre());
    return host.movePointer(at.x, at.y);
  };
  EXPECT_TRUE(isPressable(*window->imgView()));
  EXPECT_TRUE(isPressable(*window->closeBtn()));
  EXPECT_FALSE(host.movePointer(3, 3)) << "the dimmed background";
  window->removeFromSuperview();
  window = makeMainObject<OQPopWindow>();
  open(dataOfStyle(2, "title", "text"));
  EXPECT_FALSE(isPressable(*window->imgView()));
  EXPECT_FALSE(isPressable(*window->textLbl()));
  EXPECT_TRUE(isPressable(*window->middleBtn()));
  EXPECT_TRUE(window->middleBtn()->isHovered());
  EXPECT_TRUE(isPressable(*window->closeBtn()));
  EXPECT_FALSE(window->middleBtn()->isHovered());
}

TEST_F(PopWindow, IsAnAccessibleDialogWithKeyboardControl) {
  using Key = HeadlessHost::Key;
  auto heard = [&] {
    std::string all;
    for (const auto& element : host.accessibleElements())
      all += element.role + " " + element.name + (element.focused ? "*, " : ", ");
    return all;
  };
  window->popWithData(dataOfStyle(3, "标题", "正文"), record());
  host.advance(0.1);
  EXPECT_TRUE(host.pressKey(Key::Tab));
  EXPECT_TRUE(host.pressKey(Key::Return)) << "consumed without effect during the animation";
  host.advance(0.2);
  EXPECT_EQ(heard(), "dialog 标题, heading 标题, text 正文, button 左, button 右, ");
  auto unfocused = host.pixelAt(305, 640);
  EXPECT_TRUE(host.pressKey(Key::Return));
  EXPECT_EQ(reports.size(), 1u) << "a user who was typing presses no button";
  host.pressKey(Key::BackTab);
  EXPECT_EQ(heard(), "dialog 标题, heading 标题, text 正文, button 左, button 右*, ");
  CGPoint edge = window->rightBtn()->convertPointToWindow({100, 2});
  EXPECT_GT(host.pixelAt(edge.x, edge.y).blue, host.pixelAt(edge.x, edge.y).red + 50) << "marked by a ring";
  EXPECT_EQ(host.pixelAt(305, 640), unfocused);
  host.pressKey(Key::Tab);
  host.pressKey(Key::Escape);
  EXPECT_TRUE(isOnScreen()) << "there is no close button";
  host.pressKey(Key::Return);
  host.advance(0.2);
  EXPECT_EQ(reports.back(), (Report{4, "https://shop.example/left"}));
  EXPECT_FALSE(host.pressKey(Key::Escape)) << "handled by the host again";

  for (auto [style, key, code] : {std::tuple{1, Key::Escape, 3}, {4, Key::Escape, 3}, {1, Key::Return, 2}}) {
    window = makeMainObject<OQPopWindow>();
    open(dataOfStyle(style, "标题", "正文"));
    if (style == 1) {
      EXPECT_EQ(heard(), "dialog 标题, button 图片, button 关闭, ");
    }
    if (key == Key::Return) host.pressKey(Key::Tab);
    host.pressKey(key);
    host.advance(0.2);
    EXPECT_EQ(reports.back().first, code);
  }
}

TEST_F(PopWindow, ReportsDespiteScreenChangesDuringAnimations) {
  const std::vector<std::function<void()>> events = {
      [&] { host.setScreenSize(300, 200); },  [&] { host.setScreenSize(1, 1); },
      [&] { host.setScreenSize(590, 1274); }, [&] { host.setScale(3); },
      [&] { window->removeFromSuperview(); }, [&] { window->closeWithCompletion(nullptr); },
  };
  for (std::size_t i = 0; i < events.size(); ++i) {
    for (int style = 1; style <= 4; ++style) {
      reports.clear();
      window = makeMainObject<OQPopWindow>();
      window->popWithData(dataOfStyle(style, kLong, kLong), record());
      host.advance(0.1);
      events[i]();
      host.pixelAt(1, 1);
      host.advance(0.3);
      EXPECT_EQ(reports, (std::vector<Report>{{1, {}}})) << i << ", style " << style;
      window->_close();
      events[i]();
      host.advance(0.3);
      EXPECT_EQ(reports, (std::vector<Report>{{1, {}}, {3, {}}})) << i << ", style " << style;
      EXPECT_FALSE(isOnScreen());
    }
  }
}

TEST_F(PopWindow, InvalidInputIsHarmless) {
  std::string endless;
  for (int i = 0; i < 12'500; ++i) endless += "限时 off ";
  const JSONValue texts[] = {{{"text", "   \t "}},
                             {{"text", endless}, {"size", "1e308"}},
                             {{"text", "\xff\xfe"}, {"size", -7}, {"color", "none"}},
                             {{"text", 42}, {"size", "nan"}, {"background", "#"}},
                             {{"text", "مرحبا بالعالم 🎉"}, {"size", 1e-300}}};
  for (CGSize screen : {CGSize{590.5, 1274.5}, {1, 1}, {20, 3000}, {4000, 30}}) {
    host.setScreenSize(screen.width, screen.height);
    for (const JSONValue& text : texts) {
      for (int style = 1; style <= 4; ++style) {
        auto data = std::make_shared<OQWindowData>();
        data->setModelWithDic({{"style", style},
                               {"picture", "no address"},
                               {"title", text},
                               {"content", text},
                               {"buttonLeft", text},
                               {"buttonMiddle", text},
                               {"buttonRight", text}});
        window = makeMainObject<OQPopWindow>();
        reports.clear();
        open(data);
        host.pixelAt(0, 0);
        host.scroll(screen.width / 2, screen.height / 2, 0, 1e9);
        host.pixelAt(0, 0);
        window->_close();
        host.advance(0.2);
        EXPECT_EQ(reports, (std::vector<Report>{{1, {}}, {3, {}}}));
      }
    }
  }
}

}  // namespace
}  // namespace oq
