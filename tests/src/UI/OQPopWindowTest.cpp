// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <thread>
#include <tuple>
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
    const CGPoint at = middleOf(view);
    EXPECT_TRUE(host.tap(at.x, at.y));
    host.advance(0.2);
  }
  static CGPoint middleOf(const UIView& view) { return view.convertPointToWindow(view.bounds().center()); }
  HeadlessHost::Pixel pixelOf(const UIView& view, double x, double y) {
    const CGPoint point = view.convertPointToWindow({x, y});
    return host.pixelAt(point.x, point.y);
  }
  bool isOnScreen() const { return window->superview() != nullptr; }

  test::TemporaryFolder folder;
  HeadlessHost host;
  std::shared_ptr<OQPopWindow> window = makeMainObject<OQPopWindow>();
  std::vector<Report> reports;
};

void expectFrame(const UIView& view, CGRect expected, const char* what, double error = 1e-6) {
  const CGRect frame = view.frame();
  for (double difference : {frame.minX() - expected.minX(), frame.minY() - expected.minY(),
                            frame.size.width - expected.size.width, frame.size.height - expected.size.height})
    EXPECT_NEAR(difference, 0, error) << what;
}

constexpr HeadlessHost::Pixel kWhite{255, 255, 255}, kDimmed{179, 179, 179};

// The screen is 590.5 x 1274.5 points, the size that all lengths are given for, so the expected frames need no scaling.

TEST_F(PopWindow, LaysOutAPicture) {
  open(dataOfStyle(1));
  expectFrame(*window->backgroundView(), CGRectMake(0, 0, 590.5, 1274.5), "background");
  expectFrame(*window->imgView(), CGRectMake(35.25, 247.25, 520, 780), "picture");
  expectFrame(*window->closeBtn(), CGRectMake(275.25, 1047.25, 40, 40), "close button");
  EXPECT_EQ(window->subviews(),
            (std::vector<std::shared_ptr<UIView>>{window->backgroundView(), window->imgView(), window->closeBtn()}));
  EXPECT_EQ(OQNavigation::keyWindow()->subviews().back(), window);
  EXPECT_EQ(pixelOf(*window->imgView(), 2, 2), kDimmed) << "outside the round corner";
  EXPECT_EQ(pixelOf(*window->imgView(), 16, 16), kWhite);
  EXPECT_EQ(window->imgView()->contentMode(), UIViewContentMode::ScaleAspectFit);
}

TEST_F(PopWindow, LaysOutPictureTextAndButton) {
  open(dataOfStyle(2, kLong, kLong));
  // Title and text share a height of 244.5: the title gets 73.35, the text 171.15. The height of the card is the sum of
  // its margins and parts: 22.5 + 390 + 73.35 + 22.5 + 171.15 + 22.5 + 100.5.
  expectFrame(*window->contentView(), CGRectMake(35.25, 236, 520, 802.5), "card");
  expectFrame(*window->imgView(), CGRectMake(0, 0, 520, 341.25), "picture");
  expectFrame(*window->titleLbl(), CGRectMake(22.5, 412.5, 475, 73.35), "title");
  expectFrame(*window->textScrollView(), CGRectMake(22.5, 508.35, 475, 171.15), "text");
  expectFrame(*window->middleBtn(), CGRectMake(0, 702, 520, 100.5), "button");
  expectFrame(*window->closeBtn(), CGRectMake(535.25, 216, 40, 40), "close button");
  EXPECT_EQ(window->leftBtn()->superview(), nullptr);
  EXPECT_EQ(pixelOf(*window->contentView(), 2, 2), kDimmed) << "outside the round corner";
  tapOn(*window->imgView());
  EXPECT_EQ(reports, (std::vector<Report>{{1, {}}})) << "a tap on the picture has no effect";
  EXPECT_TRUE(isOnScreen());
}

TEST_F(PopWindow, LaysOutTextAndTwoButtons) {
  open(dataOfStyle(3, kLong, kLong));
  // Title and text share a height of 634.5: the title gets 190.35, the text 444.15.
  expectFrame(*window->contentView(), CGRectMake(35.25, 236, 520, 802.5), "card");
  expectFrame(*window->titleLbl(), CGRectMake(22.5, 22.5, 475, 190.35), "title");
  expectFrame(*window->textScrollView(), CGRectMake(22.5, 235.35, 475, 444.15), "text");
  expectFrame(*window->leftBtn(), CGRectMake(0, 702, 259.5, 100.5), "left");
  expectFrame(*window->rightBtn(), CGRectMake(260.5, 702, 259.5, 100.5), "right");
  double whole = window->textLbl()->frame().size.height;
  EXPECT_GT(whole, 444.15);
  EXPECT_EQ(window->textScrollView()->contentSize(), (CGSize{475, whole}));
  EXPECT_EQ(window->closeBtn()->superview(), nullptr);
  EXPECT_EQ(window->titleLbl()->font(), UIFont::fontWithName("PingFangSC-Regular", 30));
  EXPECT_EQ(window->textLbl()->font(), UIFont::fontWithName("PingFangSC-Regular", 24));
  for (const auto& label : {window->titleLbl(), window->textLbl()}) {
    EXPECT_EQ(label->attributedText().paragraphStyle, (NSParagraphStyle{8, NSTextAlignment::Justified}));
    EXPECT_EQ(label->numberOfLines(), 0);
    EXPECT_EQ(label->textColor(), colorFromHexString("#444444"));
  }

  // The card of a window without texts has only margins and buttons.
  tapOn(*window->leftBtn());
  reports.clear();
  window = makeMainObject<OQPopWindow>();
  auto empty = std::make_shared<OQWindowData>();
  empty->setStyle(3);
  open(empty);
  expectFrame(*window->contentView(), CGRectMake(35.25, 553.25, 520, 168), "card");
  expectFrame(*window->leftBtn(), CGRectMake(0, 67.5, 259.5, 100.5), "left");
  tapOn(*window->rightBtn());
  EXPECT_EQ(reports, (std::vector<Report>{{1, {}}, {5, {}}}));
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
                          const auto callback = window->eventAction();
                          window->setEventAction(nullptr);  // a callback may replace itself while it runs
                          record(code, link);
                          goneAtReport = !isOnScreen() && !window->isShowing();
                          window->setEventAction(callback);
                        });
    host.advance(0.25);
    const CGPoint at = middleOf(c.view(*window));
    EXPECT_TRUE(host.movePointer(at.x, at.y)) << "it can be pressed";
    EXPECT_FALSE(host.movePointer(3, 3)) << "the dimmed background cannot";
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

TEST_F(PopWindow, SecondPopWithDataIsIgnoredWhileShownButNotWhileOpening) {
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
  EXPECT_EQ(reports.size(), 1u);
  // After it was closed, the same window may be shown again.
  open(second);
  tapOn(*window->imgView());
  EXPECT_EQ(reports.back(), (Report{2, "https://shop.example/picture"}));
}

TEST_F(PopWindow, LivesUntilItHasReported) {
  for (bool isAttached : {true, false}) {
    const auto scene = UIApplication::sharedApplication().connectedScenes().front();
    if (!isAttached) UIApplication::sharedApplication().disconnectScene(scene);
    reports.clear();
    window = makeMainObject<OQPopWindow>();
    std::weak_ptr<OQPopWindow> weak = window;
    window->popWithData(dataOfStyle(3), record());
    const auto button = window->leftBtn();
    window.reset();
    EXPECT_FALSE(weak.expired()) << "the opening keeps it alive";
    host.advance(0.25);
    EXPECT_EQ(reports, (std::vector<Report>{{1, {}}}));
    EXPECT_EQ(weak.expired(), !isAttached) << "then its superview";
    if (!isAttached) continue;
    tapOn(*button);
    EXPECT_TRUE(weak.expired());
    EXPECT_EQ(reports.back(), (Report{4, "https://shop.example/left"}));
  }
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

TEST_F(PopWindow, WaitsUntilVisibleAndOpensAgainIfTheHostsWindowWasHidden) {
  const OtherScene neverShown(UISceneVisibility::NeverMapped);
  for (int style = 1; style <= 4; ++style) {
    SCOPED_TRACE(style);
    reports.clear();
    window = makeMainObject<OQPopWindow>();
    host.setActive(false);
    window->popWithData(dataOfStyle(style, "title", "text"), record());
    makeMainObject<OQPopWindow>()->popWithTitle("title", "text", record());
    host.advance(1);
    EXPECT_FALSE(isOnScreen());
    for (bool isActive : {true, false, true}) {
      host.setActive(isActive);
      if (!isActive) host.setScreenSize(590.5 + style, 1274.5);
      host.advance(isActive ? 0.1 : 1);
      EXPECT_EQ(window->superview(), neverShown.application.connectedScenes().front()->windows().front());
      EXPECT_TRUE(reports.empty()) << "it has not opened completely";
    }
    host.advance(0.15);
    EXPECT_EQ(reports, (std::vector<Report>{{1, {}}, {-1, {}}}));
    EXPECT_FALSE(window->isHidden());
    expectFrame(*window->backgroundView(), {{}, {590.5 + style, 1274.5}}, "background");
    window->_close();
    host.advance(0.1);
    EXPECT_EQ(reports.size(), 3u);
  }
}

TEST_F(PopWindow, MovesToAnotherHostWindowIfItsOwnIsHiddenOrClosed) {
  open(dataOfStyle(3, "stays", "here"));
  const auto shown = window;
  window = makeMainObject<OQPopWindow>();
  auto other = std::make_unique<OtherScene>(UISceneVisibility::OnScreen);
  other->application.sceneWasUsed(*other->scene);
  window->popWithData(dataOfStyle(3), record());
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
  window->popWithData(dataOfStyle(3), record());
  const auto scenes = UIApplication::sharedApplication().connectedScenes();
  for (const auto& scene : scenes) UIApplication::sharedApplication().disconnectScene(scene);
  host.advance(0.5);
  EXPECT_EQ(reports.size(), 2u);
  other = std::make_unique<OtherScene>(UISceneVisibility::OnScreen);
  host.advance(0.5);
  EXPECT_EQ(window->superview(), other->window);
  EXPECT_EQ(reports.size(), 3u);
}

TEST_F(PopWindow, PopFromAnotherThreadOpensOnTheMainQueue) {
  std::thread([&] { window->popWithData(dataOfStyle(3, "title"), record()); }).join();
  EXPECT_EQ(window->data(), nullptr);
  host.advance(0.25);
  EXPECT_EQ(reports, (std::vector<Report>{{1, {}}}));

  auto prompt = makeMainObject<OQPopWindow>();
  std::thread([&] { prompt->popWithTitle("提示", std::nullopt, record()); }).join();
  EXPECT_EQ(prompt->superview(), nullptr);
  host.advance(0.25);
  EXPECT_EQ(prompt->titleLbl()->text(), "提示");
  EXPECT_EQ(prompt->textLbl()->text(), "未取到userId，请重启APP");
  EXPECT_EQ(prompt->leftBtn()->titleForState(UIControlStateNormal), "取消");
  EXPECT_EQ(prompt->rightBtn()->titleForState(UIControlStateNormal), "确定");
  tapOn(*prompt->rightBtn());
  EXPECT_EQ(reports, (std::vector<Report>{{1, {}}, {-1, {}}, {5, {}}}));
}

TEST_F(PopWindow, OnlyTheFirstOfTwoFingersCounts) {
  open(dataOfStyle(3, "title", "text"));
  auto root = OQNavigation::keyWindow();
  root->touchBegan(1, middleOf(*window->leftBtn()), 0);
  root->touchBegan(2, middleOf(*window->rightBtn()), 0);
  root->touchEnded(1, middleOf(*window->leftBtn()), 0);
  root->touchEnded(2, middleOf(*window->rightBtn()), 0);
  host.advance(0.2);
  EXPECT_EQ(reports, (std::vector<Report>{{1, {}}, {4, "https://shop.example/left"}}));
}

TEST_F(PopWindow, UsesTextsColorsAndSizesOfItsData) {
  auto data = std::make_shared<OQWindowData>();
  data->setModelWithDic({{"style", 3},
                         {"title", {{"text", " "}, {"background", "#102030"}}},
                         {"content", {{"text", kLong}, {"color", "#405060"}, {"background", "#405060"}}},
                         {"buttonLeft", {{"text", true}, {"background", "#708090"}, {"color", "#ff0000"}}},
                         {"buttonRight", {{"background", "#a0b0c0"}, {"size", 30}}}});
  open(data);
  using Pixel = HeadlessHost::Pixel;
  EXPECT_EQ(pixelOf(*window->titleLbl(), 20, 10), (Pixel{0x10, 0x20, 0x30}));
  EXPECT_EQ(pixelOf(*window->textScrollView(), 200, 200), (Pixel{0x40, 0x50, 0x60}));
  EXPECT_EQ(pixelOf(*window->leftBtn(), 258, 50), (Pixel{0x70, 0x80, 0x90}));
  EXPECT_EQ(pixelOf(*window->rightBtn(), 1, 50), (Pixel{0xa0, 0xb0, 0xc0}));
  EXPECT_EQ(pixelOf(*window->contentView(), 5, 5), kWhite);
  EXPECT_EQ(window->leftBtn()->titleForState(UIControlStateNormal), "1");
  EXPECT_EQ(window->leftBtn()->titleColorForState(UIControlStateNormal), UIColor::redColor());
  EXPECT_EQ(window->rightBtn()->titleLabel().font(), UIFont::fontWithName("PingFangSC-Regular", 15));
  // Missing attributes change nothing.
  auto missing = std::make_shared<OQTextAttribute>();
  window->textLbl()->setAttribute(nullptr);
  window->textLbl()->setAttribute(missing);
  EXPECT_EQ(window->textLbl()->text(), kLong);
  EXPECT_EQ(window->textLbl()->textColor(), colorFromHexString("#405060"));
  EXPECT_EQ(window->textLbl()->font().pointSize(), 24);
  missing->setModelWithDic({{"text", ""}, {"size", "28pd"}});
  window->textLbl()->setAttribute(missing);
  EXPECT_EQ(window->textLbl()->text(), "") << "an empty string is not missing";
  EXPECT_EQ(window->textLbl()->font().pointSize(), 14);
  host.setScale(2);
  EXPECT_NEAR(pixelOf(*window->contentView(), 260, window->leftBtn()->frame().minY() + 50).red, 255, 1)
      << "the gap between the buttons";
}

class PopWindowOnThePhone : public PopWindow {
 protected:
  PopWindowOnThePhone() : PopWindow(375, 812) {}
};

/// Margins and buttons depend on the height, everything else on the width.
TEST_F(PopWindowOnThePhone, LaysOutByWidthAndHeight) {
  open(dataOfStyle(2, kLong, kLong));
  expectFrame(*window->contentView(), {{22.386, 151.161}, {330.229, 509.678}}, "card", 0.001);
  expectFrame(*window->titleLbl(), {{14.335, 262.006}, {301.559, 46.491}}, "title", 0.001);
  expectFrame(*window->middleBtn(), {{0, 445.648}, {330.229, 64.030}}, "button", 0.001);
  expectFrame(*window->closeBtn(), {{339.913, 138.460}, {25.402, 25.402}}, "close button", 0.001);
  EXPECT_NEAR(window->titleLbl()->font().pointSize(), 19.052, 0.001);
}

TEST_F(PopWindowOnThePhone, CloseButtonTakesTouchesNearItExceptOnTheCard) {
  struct Case {
    int style;
    CGPoint fromItsCenter;
    std::int64_t code;  // of the last report; 1 is that of the opening, so the window stays open
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
    const CGPoint center = window->closeBtn()->center();
    host.tap(center.x + offset.x, center.y + offset.y);
    host.advance(0.1);
    EXPECT_EQ(reports.back().first, code);
    window->removeFromSuperview();
  }
}

TEST_F(PopWindow, IsAnAccessibleDialogWithKeyboardControl) {
  using Key = HeadlessHost::Key;
  auto heard = [&] {
    std::string all;
    for (const auto& element : host.accessibleElements())
      all += element.role + " " + element.name + (element.focused ? "*, " : ", ");
    return all;
  };
  open(dataOfStyle(3, "标题", "正文"));
  EXPECT_EQ(heard(), "dialog 标题, heading 标题, text 正文, button 左, button 右, ");
  EXPECT_TRUE(host.pressKey(Key::Return));
  EXPECT_EQ(reports.size(), 1u) << "a user who was typing presses no button";
  host.pressKey(Key::BackTab);
  EXPECT_EQ(heard(), "dialog 标题, heading 标题, text 正文, button 左, button 右*, ");
  const auto edge = pixelOf(*window->rightBtn(), 100, 2);
  EXPECT_GT(edge.blue, edge.red + 50) << "marked by a ring";
  host.pressKey(Key::Tab);
  host.pressKey(Key::Escape);
  EXPECT_TRUE(isOnScreen()) << "there is no close button";
  host.pressKey(Key::Return);
  host.advance(0.2);
  EXPECT_EQ(reports.back(), (Report{4, "https://shop.example/left"}));
  EXPECT_FALSE(host.pressKey(Key::Escape)) << "handled by the host again";

  for (auto [style, key, code] : {std::tuple{1, Key::Escape, 3}, {4, Key::Escape, 3}, {1, Key::Return, 2}}) {
    window = makeMainObject<OQPopWindow>();
    // Without a title, the accessible name is the text. For a web page the text is not used, since it is not shown.
    open(dataOfStyle(style, " \t\r\n", "正文"));
    const std::string heardNow = heard();
    EXPECT_TRUE(style == 4 ? heardNow.starts_with("dialog 消息, ")
                           : heardNow == "dialog 正文, button 图片, button 关闭, ")
        << heardNow;
    if (key == Key::Return) host.pressKey(Key::Tab);
    host.pressKey(key);
    host.advance(0.2);
    EXPECT_EQ(reports.back().first, code);
  }
}

TEST_F(PopWindow, ReportsDespiteScreenChangesDuringAnimations) {
  const std::function<void()> events[] = {
      [&] { host.setScreenSize(1, 1); },
      [&] { host.setScreenSize(590, 1274); },
      [&] { window->removeFromSuperview(); },
      [&] { window->closeWithCompletion(nullptr); },
  };
  for (const auto& event : events) {
    for (int style = 1; style <= 4; ++style) {
      SCOPED_TRACE(testing::Message() << &event - events << ", style " << style);
      reports.clear();
      window = makeMainObject<OQPopWindow>();
      window->popWithData(dataOfStyle(style, kLong, kLong), record());
      host.advance(0.1);
      event();
      host.advance(0.3);
      EXPECT_EQ(reports, (std::vector<Report>{{1, {}}}));
      EXPECT_EQ(isOnScreen(), &event - events != 3) << "unless it was closed";
      window->_close();
      event();
      host.advance(0.3);
      EXPECT_EQ(reports, (std::vector<Report>{{1, {}}, {3, {}}}));
      EXPECT_FALSE(isOnScreen());
    }
  }
}

TEST_F(PopWindow, UnknownStylesShowNothingAndInvalidTextsDoNotStopReports) {
  for (int unknown : {0, 5, -1}) {
    open(dataOfStyle(unknown));
    EXPECT_FALSE(isOnScreen());
    EXPECT_TRUE(reports.empty());
  }
  const JSONValue texts[] = {{{"text", std::string(100'000, 'x')}, {"size", "1e308"}},
                             {{"text", "\xff\xfe"}, {"size", -7}, {"color", "none"}},
                             {{"text", 42}, {"size", "nan"}, {"background", "#"}},
                             {{"text", "مرحبا بالعالم 🎉"}, {"size", 1e-300}}};
  for (CGSize screen : {CGSize{590.5, 1274.5}, {1, 1}, {20, 3000}, {4000, 30}}) {
    host.setScreenSize(screen.width, screen.height);
    for (const JSONValue& text : texts) {
      for (int style = 1; style <= 4; ++style) {
        auto data = std::make_shared<OQWindowData>();
        JSONDictionary record{{"style", style}, {"picture", "no address"}};
        for (const char* part : {"title", "content", "buttonLeft", "buttonMiddle", "buttonRight"}) record[part] = text;
        data->setModelWithDic(record);
        window = makeMainObject<OQPopWindow>();
        reports.clear();
        open(data);
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
