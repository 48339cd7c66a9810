#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "UI/OQPopWindow.h"
#include "UIKit/MainObject.h"
#include "UIKit/UIWindow.h"
#include "Utils/OQNavigation.h"
#include "oqsdk/headless/HeadlessHost.h"
#include "src/TemporaryFolder.h"

namespace oq {
namespace {

const std::string kLong = [] {
  std::string text;
  for (int i = 0; i < 200; ++i) text += "限时优惠 a long text ";
  return text;
}();

using Report = std::pair<std::int64_t, Value>;

class PopWindow : public testing::Test {
 protected:
  explicit PopWindow(double width = 590.5, double height = 1274.5) : host(options(width, height)) {}

  HeadlessHost::Options options(double width, double height) {
    HeadlessHost::Options options;
    options.width = width;
    options.height = height;
    options.dataDirectory = folder.path();
    return options;
  }
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
    return [this](std::int64_t code, const Value& link) { reports.emplace_back(code, link); };
  }
  /// Shows the window and lets it open.
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

void expectFrame(const UIView& view, CGRect expected, const char* what) {
  CGRect frame = view.frame();
  EXPECT_NEAR(frame.minX(), expected.minX(), 1e-6) << what;
  EXPECT_NEAR(frame.minY(), expected.minY(), 1e-6) << what;
  EXPECT_NEAR(frame.size.width, expected.size.width, 1e-6) << what;
  EXPECT_NEAR(frame.size.height, expected.size.height, 1e-6) << what;
}

// The screen of these cases is as large as the units are counted in, so that every figure is the described
// one.

TEST_F(PopWindow, LaysOutAPicture) {
  open(dataOfStyle(1));
  expectFrame(*window, CGRectMake(0, 0, 590.5, 1274.5), "window");
  expectFrame(*window->backgroundView(), CGRectMake(0, 0, 590.5, 1274.5), "background");
  expectFrame(*window->imgView(), CGRectMake(35.25, 247.25, 520, 780), "picture");
  expectFrame(*window->closeBtn(), CGRectMake(275.25, 1047.25, 40, 40), "close button");
  EXPECT_EQ(window->subviews(), (std::vector<std::shared_ptr<UIView>>{
                                    window->backgroundView(), window->imgView(), window->closeBtn()}));
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
  EXPECT_EQ(window->titleLbl()->attributedText().paragraphStyle,
            (NSParagraphStyle{8, NSTextAlignment::Justified}));
  EXPECT_EQ(window->titleLbl()->font(), UIFont::fontWithName("PingFangSC-Regular", 30));
  EXPECT_EQ(window->textLbl()->font(), UIFont::fontWithName("PingFangSC-Regular", 24));
}

TEST_F(PopWindow, GivesNoHeightToTextsThatAreNotThere) {
  auto data = std::make_shared<OQWindowData>();
  data->setStyle(3);
  open(data);
  expectFrame(*window->contentView(), CGRectMake(35.25, 553.25, 520, 168), "card");
  expectFrame(*window->leftBtn(), CGRectMake(0, 67.5, 259.5, 100.5), "left");
  // Even such a button takes its click.
  tapOn(*window->rightBtn());
  host.advance(0.1);
  EXPECT_EQ(reports, (std::vector<Report>{{1, {}}, {5, {}}}));
}

class PopWindowOnAPhone : public PopWindow {
 protected:
  PopWindowOnAPhone() : PopWindow(390, 844) {}
};

TEST_F(PopWindowOnAPhone, FollowsTheScreen) {
  // units 0.66045724 wide, 0.66222048 high
  open(dataOfStyle(3, "", ""));
  EXPECT_NEAR(window->contentView()->frame().size.width, 343.437765, 1e-5);
  EXPECT_NEAR(window->contentView()->frame().size.height, 3 * 14.899961 + 66.553158, 1e-5);
  EXPECT_NEAR(window->contentView()->frame().minX(), 23.281118, 1e-5);
  EXPECT_NEAR(window->contentView()->frame().centre().y, 422, 1e-9);
  EXPECT_NEAR(window->leftBtn()->frame().minY(), 44.699882, 1e-5);
  EXPECT_NEAR(window->rightBtn()->frame().minX(), 172.218882, 1e-5);
  EXPECT_NEAR(window->titleLbl()->font().pointSize(), 19.813717, 1e-5);

  auto picture = makeMainObject<OQPopWindow>();
  picture->popWithData(dataOfStyle(1), nullptr);
  host.advance(0.25);
  EXPECT_NEAR(picture->imgView()->frame().minY(), 164.421677, 1e-5);
  EXPECT_NEAR(picture->imgView()->frame().size.height, 515.156647, 1e-5);
  EXPECT_NEAR(picture->closeBtn()->frame().centre().y, 679.578323 + 26.418290, 1e-5);
  EXPECT_NEAR(picture->closeBtn()->frame().size.width, 26.418290, 1e-5);
}

TEST_F(PopWindow, UncoversTheCardFromTheMiddle) {
  window->popWithData(dataOfStyle(3, kLong, kLong), record());
  host.advance(0.1);
  EXPECT_TRUE(reports.empty());
  EXPECT_EQ(host.pixelAt(295, 300), host.pixelAt(10, 10)) << "not yet open up there";
  EXPECT_NE(host.pixelAt(295, 480), host.pixelAt(10, 10));
  auto half = host.pixelAt(10, 10);
  EXPECT_NEAR(half.red, 255 * (1 - 0.3 * 0.6), 3);
  // A card in motion takes no touch, and lets none through to the host.
  tapOn(*window->leftBtn());
  host.advance(0.2);
  EXPECT_EQ(reports, (std::vector<Report>{{1, {}}}));
  EXPECT_NEAR(host.pixelAt(10, 10).red, 255 * 0.7, 2);
  EXPECT_TRUE(window->isShowing());
}

TEST_F(PopWindow, ReportsEachActionOnceAndAfterTheWindowIsGone) {
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
      {3, [](auto& w) -> UIView& { return *w.leftBtn(); }, {4, "https://shop.example/left"}},
      {3, [](auto& w) -> UIView& { return *w.rightBtn(); }, {5, "https://shop.example/right"}},
  };
  for (const Case& c : cases) {
    reports.clear();
    window = makeMainObject<OQPopWindow>();
    bool goneAtReport = false;
    window->popWithData(dataOfStyle(c.style, "title", "text"),
                        [&, record = record()](std::int64_t code, const Value& link) {
                          record(code, link);
                          goneAtReport = !isOnScreen() && !window->isShowing();
                        });
    host.advance(0.25);
    UIView& view = c.view(*window);
    CGPoint at = view.convertPointToWindow(view.bounds().centre());
    EXPECT_TRUE(host.tap(at.x, at.y));
    host.advance(1.0 / 60);
    // A second, impatient tap while it fades is nobody's: not reported, and not the host's.
    EXPECT_TRUE(host.tap(at.x, at.y));
    EXPECT_EQ(reports, (std::vector<Report>{{1, {}}})) << "the fading comes first";
    host.advance(0.2);
    EXPECT_EQ(reports, (std::vector<Report>{{1, {}}, c.report})) << "code " << c.report.first;
    EXPECT_TRUE(goneAtReport);
    EXPECT_FALSE(host.tap(295, 637)) << "nothing is left to take a touch";
  }
}

TEST_F(PopWindow, DoesNotCountATapOnThePictureOfStyle2) {
  open(dataOfStyle(2, "title", "text"));
  tapOn(*window->imgView());
  host.advance(0.2);
  EXPECT_EQ(reports, (std::vector<Report>{{1, {}}}));
  EXPECT_TRUE(isOnScreen());
}

TEST_F(PopWindow, ShowsNothingOfAnUnknownStyle) {
  for (int style : {0, 5, -1}) {
    auto data = dataOfStyle(style);
    open(data);
    EXPECT_EQ(window->data(), data);
    EXPECT_TRUE(window->eventAction());
    EXPECT_FALSE(isOnScreen());
    EXPECT_TRUE(reports.empty());
  }
}

TEST_F(PopWindow, IgnoresASecondCallWhileItShowsButNotWhileItOpens) {
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
  // Laid out twice, a button still reports once.
  reports.clear();
  tapOn(*window->leftBtn());
  host.advance(0.2);
  EXPECT_EQ(reports.size(), 1u);
  // Closed, the same window may be shown again.
  open(second);
  tapOn(*window->imgView());
  host.advance(0.2);
  EXPECT_EQ(reports.back(), (Report{2, "https://shop.example/picture"}));
}

TEST_F(PopWindow, OpensAndClosesWithoutACallback) {
  window->popWithData(dataOfStyle(2), nullptr);
  host.advance(0.25);
  EXPECT_TRUE(window->isShowing());
  tapOn(*window->middleBtn());
  host.advance(0.2);
  EXPECT_FALSE(isOnScreen());
}

TEST_F(PopWindow, IsOwnedByTheScreenAndReleasedWhenItCloses) {
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

TEST_F(PopWindow, ReportsAlsoWhereThereIsNoWindowToBeShownIn) {
  host.setActive(false);
  ASSERT_EQ(OQNavigation::keyWindow(), nullptr);
  std::weak_ptr<OQPopWindow> weak = window;
  window->popWithData(dataOfStyle(2, "title", "text"), record());
  window.reset();
  EXPECT_FALSE(weak.expired()) << "the opening keeps it";
  host.advance(0.25);
  EXPECT_EQ(reports, (std::vector<Report>{{1, {}}}));
  EXPECT_TRUE(weak.expired());
}

TEST_F(PopWindow, MovesItselfToTheMainQueue) {
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

TEST_F(PopWindow, AsksAsATool) {
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

TEST_F(PopWindow, LetsACallbackChangeTheCallback) {
  window->popWithData(dataOfStyle(1), [this, record = record()](std::int64_t code, const Value& link) {
    window->setEventAction(nullptr);
    record(code, link);
    if (code == 1) window->setEventAction(record);
  });
  host.advance(0.25);
  tapOn(*window->closeBtn());
  host.advance(0.2);
  EXPECT_EQ(reports, (std::vector<Report>{{1, {}}, {3, {}}}));
}

TEST_F(PopWindow, ScrollsALongText) {
  open(dataOfStyle(3, "title", kLong));
  CGPoint at = window->textScrollView()->convertPointToWindow({100, 200});
  host.touchDown(at.x, at.y);
  for (int i = 1; i <= 10; ++i) host.touchMove(at.x, at.y - 10 * i);
  host.touchUp(at.x, at.y - 100);
  EXPECT_GT(window->textScrollView()->contentOffset().y, 50);
  EXPECT_EQ(reports.size(), 1u);
}

}  // namespace
}  // namespace oq
