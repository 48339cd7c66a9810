// SPDX-License-Identifier: Apache-2.0
#include "Pages/OQWebController.h"

#include "Engine/OQSDKManager.h"
#include "Foundation/System/Device.h"
#include "Model/OQWindowData.h"
#include "Pages/OQNavigation.h"
#include "Pages/OQWebImages.h"
#include "UI/OQPopWindow.h"
#include "UIKit/Controllers/UINavigationBar.h"
#include "UIKit/Controllers/UINavigationController.h"
#include "UIKit/Windows/Accessibility.h"
#include "UIKit/Windows/UIApplication.h"
#include "UIKit/Windows/UIScreen.h"
#include "UIKit/Windows/UIWindow.h"
#include "WebKit/WebEngineRegistry.h"
#include "oqsdk/headless/HeadlessHost.h"
#include "support/EngineTest.h"

namespace oq {
namespace {

constexpr const char* kAddress = "https://shop.example/offer";

/// A screen of 390 by 844 points with the host's own page.
class WebController : public test::EngineTest {
 protected:
  ~WebController() override { host.advance(1); }

  std::shared_ptr<OQWebController> jump(const std::string& url = kAddress) {
    engine->jumpToWebViewWithURLStr(JSONValue(url));
    return current();
  }
  std::shared_ptr<OQWebController> current() {
    return std::dynamic_pointer_cast<OQWebController>(OQNavigation::currentViewController());
  }
  std::shared_ptr<HeadlessPage> page() { return host.pages().empty() ? nullptr : host.pages().back(); }
  void load(const std::string& title, const std::string& url = "") {
    url.empty() ? page()->start() : page()->start(url);
    page()->commit();
    page()->progress(1);
    page()->finish(title);
    host.runMainQueue();
  }
  void tapBar(std::size_t button) {
    auto& pair = *current()->backBarButtonItem()->customView()->subviews().at(button);
    const CGPoint at = pair.convertPointToWindow(pair.bounds().center());
    EXPECT_TRUE(host.tap(at.x, at.y));
    host.advance(0.5);
  }
  std::string lastEntry() { return logEntries().back(); }

  HeadlessHost host{{.scale = 2, .dataDirectory = folder()}};
};

TEST_F(WebController, JumpOpensAPageAndCloseRemovesIt) {
  EXPECT_FALSE(host.tap(200, 400));
  std::weak_ptr<OQWebController> controller = jump();
  ASSERT_TRUE(page());
  EXPECT_EQ(page()->loads(), std::vector<std::string>{kAddress});
  EXPECT_EQ(page()->messageHandlers(), std::vector<std::string>{"jsCallOC"});
  const auto navigation = OQNavigation::currentNavigation();
  const auto bar = navigation->navigationBar();
  host.advance(0.1);
  const double slid = controller.lock()->view()->layer().presentation(host.now()).frame().minX();
  EXPECT_TRUE(slid > 0 && slid < 390) << slid;
  EXPECT_EQ(OQNavigation::currentWebview(), controller.lock()->wkWebView());
  host.advance(0.5);
  load("Offer & more");
  EXPECT_EQ(bar->topItem()->title(), "Offer & more");
  for (CGSize screen : {CGSize{400, 700}, {390, 844}}) {
    host.setScreenSize(screen.width, screen.height);
    EXPECT_EQ(bar->frame().size, (CGSize{screen.width, 44}));
    EXPECT_EQ(controller.lock()->view()->frame(), CGRectMake(0, 44, screen.width, screen.height - 44));
    EXPECT_EQ(controller.lock()->wkWebView()->frame(), CGRectMake(0, 0, screen.width, screen.height - 44));
  }
  tapBar(1);
  EXPECT_TRUE(controller.expired()) << "the controller leaks";
  EXPECT_TRUE(host.pages().empty());
  EXPECT_TRUE(navigation->isNavigationBarHidden());
  EXPECT_EQ(bar->frame().size.height, 0);
  EXPECT_FALSE(host.tap(200, 20)) << "neither page nor bar covers the host any more";
}

TEST_F(WebController, MissingLinksOpenNothingAndInvalidOnesShowTheReloadButton) {
  for (const JSONValue& nothing : {JSONValue(), JSONValue(""), JSONValue(7)}) engine->jumpToWebViewWithURLStr(nothing);
  EXPECT_EQ(current(), nullptr);
  for (const std::string& link :
       {std::string("no address"), std::string("FILE:/etc/passwd"), std::string("javascript:alert(1)"),
        std::string("http://shop.example/"), "https://shop.example/" + std::string(2 << 20, 'x')}) {
    SCOPED_TRACE(link.substr(0, 80));
    const auto controller = jump(link);
    ASSERT_TRUE(controller);
    EXPECT_TRUE(controller->reloadBtn()->isHidden()) << "not before the first attempt";
    host.runMainQueue();
    EXPECT_FALSE(controller->reloadBtn()->isHidden());
    EXPECT_TRUE(controller->wkWebView()->isHidden());
    EXPECT_TRUE(lastEntry().starts_with("页面加载失败：Error Domain=NSURLErrorDomain Code=-100"));
    EXPECT_TRUE(lastEntry().ends_with("，url：" + link));
    EXPECT_TRUE(host.pages().empty()) << "the engine was not used";
  }
  const auto navigation = OQNavigation::currentNavigation();
  EXPECT_EQ(navigation->viewControllers().size(), 2u) << "each page replaced the one before";
  // A jump pops the top of the stack for each web page in it, even if the top is a page of the host.
  const std::vector<std::shared_ptr<UIViewController>> before(navigation->viewControllers());
  navigation->pushViewController(makeMainObject<UIViewController>(), false);
  jump();
  EXPECT_EQ(navigation->viewControllers().size(), 3u);
  EXPECT_EQ(navigation->viewControllers().at(1), before.at(1));
}

TEST_F(WebController, LoadingShowsProgressAndAFailureShowsTheReloadButton) {
  const auto controller = jump();
  const auto web = controller->wkWebView();
  const auto bar = controller->progress();
  const auto button = controller->reloadBtn();
  /// Exactly one of the page and the button is shown.
  const auto isPageShown = [&] {
    EXPECT_NE(web->isHidden(), button->isHidden());
    return button->isHidden();
  };
  host.advance(0.5);

  // A failure, and a second attempt.
  page()->start();
  page()->fail(-1004, "refused");
  EXPECT_FALSE(isPageShown());
  EXPECT_EQ(lastEntry(),
            std::string("页面加载失败：Error Domain=NSURLErrorDomain Code=-1004 \"refused\"，url：") + kAddress);
  EXPECT_EQ(button->frame(), CGRectMake(95, 252, 200, 140));
  EXPECT_EQ(button->titleForState(UIControlStateNormal), "网络异常，点击重新加载");
  // Taps the title, which is below the button's frame.
  EXPECT_TRUE(host.tap(195, 44 + 252 + 170));
  EXPECT_EQ(page()->loads().size(), 2u);
  page()->start();
  EXPECT_TRUE(isPageShown());

  // The progress bar is hidden shortly after the progress is exactly 1. The next load shows it again.
  page()->progress(0.99);
  EXPECT_EQ(bar->progress(), 0.99f);
  page()->progress(1);
  EXPECT_FALSE(bar->isHidden());
  EXPECT_TRUE(host.runUntil([&] { return bar->isHidden(); }, 5));
  page()->commit();
  page()->failLater(-1005, "torn");
  EXPECT_TRUE(isPageShown()) << "the shown document stays";
  page()->finish("One");
  page()->start("about:blank");
  EXPECT_FALSE(bar->isHidden());
  EXPECT_TRUE(web->isHidden());
  page()->start(kAddress);
  EXPECT_TRUE(isPageShown());

  page()->crash();
  EXPECT_FALSE(isPageShown());
  controller->wkWebViewReload();
  EXPECT_EQ(page()->loads().back(), kAddress);
  controller->observeValueForKeyPath("title", *web, {{"new", 0.25}});
  EXPECT_EQ(bar->progress(), 1.0f);
}

TEST_F(WebController, PageIsADialogInWhichKeysGoBackAndClose) {
  std::weak_ptr<OQWebController> controller = jump();
  host.advance(0.5);
  const auto window = OQNavigation::keyWindow();
  ASSERT_TRUE(frontmostDialog(*window));
  EXPECT_EQ(frontmostDialog(*window)->accessibilityLabel(), "网页");
  load("One");
  EXPECT_EQ(frontmostDialog(*window)->accessibilityLabel(), "One");
  for (const char* name : {"返回", "关闭", "返回"}) {
    window->pressKey(UIKeyboardKey::Tab);
    ASSERT_TRUE(window->focusedView());
    EXPECT_EQ(window->focusedView()->accessibilityLabel(), name);
  }
  for (const bool byKey : {true, false}) {
    load("Two", "https://shop.example/two");
    byKey ? (void)window->pressKey(UIKeyboardKey::Back) : tapBar(0);
    EXPECT_EQ(page()->loads().back(), kAddress);
    load("One");
    EXPECT_EQ(current(), controller.lock());
  }
  window->pressKey(UIKeyboardKey::Back);
  host.advance(0.5);
  EXPECT_TRUE(controller.expired());
  jump();
  host.advance(0.5);
  window->pressKey(UIKeyboardKey::Escape);
  host.advance(0.5);
  EXPECT_EQ(current(), nullptr);
  EXPECT_FALSE(frontmostDialog(*window));
  EXPECT_FALSE(window->pressKey(UIKeyboardKey::Escape)) << "the host gets the keys again";
}

/// Counts the calls of prepare().
class ExpectantEngine : public WebEngine {
 public:
  std::unique_ptr<WebPage> openPage(const WebPageSettings&, WebPageClient&, Error&) override { return nullptr; }
  void prepare() override { ++prepared; }
  int prepared = 0;
};

TEST_F(WebController, WebEngineIsPreparedIfACampaignLeadsToAPage) {
  ExpectantEngine expectant;
  setWebEngine(&expectant);
  const JSONValue link{{"text", "More"}, {"clickEvent", kAddress}};
  const auto preparedFor = [&](const JSONDictionary& fields) {
    expectant.prepared = 0;
    deliverInApp({test::campaign("1", "buy", fields)});
    host.runMainQueue();
    return expectant.prepared > 0;
  };
  EXPECT_FALSE(preparedFor({{"style", 3}, {"clickEvent", kAddress}})) << "only a picture opens the window's link";
  EXPECT_FALSE(preparedFor({{"style", 2}, {"buttonLeft", link}}));
  for (const JSONDictionary& fields :
       {JSONDictionary{{"style", 4}}, JSONDictionary{{"style", 1}, {"clickEvent", kAddress}},
        JSONDictionary{{"style", 2}, {"buttonMiddle", link}}, JSONDictionary{{"style", 3}, {"buttonRight", link}}})
    EXPECT_TRUE(preparedFor(fields)) << JSONValue(fields);
  // The campaigns are known from an earlier run.
  expectant.prepared = 0;
  relaunch();
  engine->inAppDataArray();
  host.runMainQueue();
  EXPECT_GT(expectant.prepared, 0);
  ExpectantEngine later;
  setWebEngine(&later);
  EXPECT_EQ(later.prepared, 1) << "an engine that is installed later";
  setWebEngine(nullptr);
}

TEST_F(WebController, ClosedPageStopsLoadingWhenItsControllerIsDestroyed) {
  auto controller = jump();
  host.advance(0.5);
  load("One");
  tapBar(0);
  EXPECT_EQ(current(), nullptr);
  EXPECT_EQ(page()->stops(), 0) << "only the destructor stops it";
  const auto left = page();
  controller.reset();
  EXPECT_FALSE(left->isOpen());
  EXPECT_EQ(left->stops(), 1);
  left->post("jsCallOC", "1");
  left->finish("late");

  // A controller that is presented instead of pushed can be closed, too.
  auto presented = makeMainObject<OQWebController>(std::string(kAddress));
  OQNavigation::currentViewController()->presentViewController(presented, true);
  host.advance(0.5);
  EXPECT_EQ(presented->wkWebView()->frame(), CGRectMake(0, 0, 390, 844));
  presented->close();
  host.advance(0.5);
  EXPECT_EQ(current(), nullptr);
}

TEST_F(WebController, EmptyFrameFillsTheScreenAndOtherSettingsAreApplied) {
  UIApplication::sharedApplication().setStatusBarFrame(CGRectMake(0, 0, 390, 20));
  for (CGRect asked : {CGRect{}, CGRectMake(5, 6, 0, 100), CGRectMake(5, 6, 100, 0), CGRectMake(5, 6, 100, 50)}) {
    const CGRect expected = asked.isEmpty() ? CGRectMake(0, 0, 390, 824) : asked;
    EXPECT_EQ(makeMainObject<OQWebController>(asked)->wkWebView()->frame(), expected);
  }
  auto controller = makeMainObject<OQWebController>(std::string("about:blank"));
  controller->setJsString("window.shop = 1;");
  controller->setCanDownRefresh(true);
  controller->setLoadingProgressColor(UIColor::redColor());
  controller->setBounds(CGRectMake(0, 0, 200, 300), {195, 400});
  EXPECT_EQ(controller->view()->frame(), CGRectMake(95, 250, 200, 300));
  EXPECT_EQ(controller->wkWebView()->frame(), CGRectMake(0, 0, 200, 300));
  EXPECT_EQ(controller->progress()->frame(), CGRectMake(0, 0, 200, 2));
  EXPECT_EQ(controller->progress()->tintColor(), UIColor::redColor());
  ASSERT_EQ(page()->scripts().size(), 1u);
  const HeadlessPage::Script& script = page()->scripts()[0];
  EXPECT_EQ(script.source, "window.shop = 1;");
  EXPECT_TRUE(script.atDocumentStart && !script.mainFrameOnly);

  load("");
  page()->pullDown();
  page()->pullDown();
  EXPECT_EQ(page()->loads().size(), 2u) << "a pull during a reload is ignored";
  EXPECT_TRUE(controller->refreshControl()->isRefreshing());
  load("");
  EXPECT_FALSE(controller->refreshControl()->isRefreshing());
  controller->setCanDownRefresh(false);
  EXPECT_TRUE(controller->wkWebView()->scrollView()->refreshControl()) << "too late to have an effect";
}

TEST_F(WebController, ScriptMessagesAreOnlyLogged) {
  const auto controller = jump();
  load("One");
  const std::string entry = "js拦截，调用OC方法，方法名：jsCallOC,参数：", large(1 << 20, 'x');
  const std::pair<std::string, std::string> messages[] = {{R"({"a":1})", "{\n  \"a\" : 1\n}"},
                                                          {"\"text %@\"", "text %@"},
                                                          {"null", "(null)"},
                                                          {"not json", "not json"},
                                                          {'"' + large + '"', large}};
  for (const auto& [sent, logged] : messages) {
    page()->post("jsCallOC", sent);
    EXPECT_TRUE(lastEntry() == entry + logged) << lastEntry().substr(0, 200);
  }
  const std::size_t entries = logEntries().size();
  page()->post("unknown", "1");
  EXPECT_EQ(logEntries().size(), entries);

  page()->alert("hello");
  page()->confirm("sure?");
  page()->prompt("name?", "none");
  host.runMainQueue();
  EXPECT_EQ(page()->openDialogs(), 3) << "neither shown nor answered";
  EXPECT_TRUE(page()->respond(500, "application/octet-stream"));
}

TEST_F(WebController, HostWithoutAWebEngineLogsTheReason) {
  host.refusePages("no user namespaces for the sandbox");
  const auto controller = jump();
  host.advance(0.5);
  EXPECT_FALSE(controller->reloadBtn()->isHidden());
  EXPECT_NE(lastEntry().find("no user namespaces for the sandbox"), std::string::npos);
  EXPECT_FALSE(canShowWebPages());
  host.refusePages("");
  EXPECT_TRUE(canShowWebPages());
  controller->wkWebViewReload();
  ASSERT_TRUE(page());
  EXPECT_EQ(page()->loads().size(), 1u);
}

TEST_F(WebController, ClosingInAnyLoadPhaseReleasesControllerAndPage) {
  const std::function<void()> phases[] = {
      [] {},
      [&] { page()->start(); },
      [&] { page()->start(), page()->progress(1); },
      [&] { page()->start(), page()->commit(); },
      [&] { page()->start(), page()->commit(), page()->finish("before its title is known"); },
      [&] { page()->start(), page()->fail(-1001, "late"); },
      [&] { page()->crash(); },
      [&] { page()->alert("open"); },
  };
  for (const auto& phase : phases) {
    for (bool hasAppeared : {true, false}) {
      std::weak_ptr<OQWebController> controller = jump();
      std::weak_ptr<UIView> web = current()->wkWebView();
      if (hasAppeared) host.advance(0.5);
      phase();
      current()->close();
      host.advance(0.5);
      EXPECT_TRUE(controller.expired() && web.expired()) << &phase - phases;
      ASSERT_TRUE(host.pages().empty()) << &phase - phases;
    }
  }
}

TEST_F(WebController, WindowOfStyleFourShowsThePageInTheCard) {
  auto data = std::make_shared<OQWindowData>();
  data->setModelWithDic({{"style", 4}, {"content", {{"text", "not shown"}}}, {"clickEvent", kAddress}});
  auto window = makeMainObject<OQPopWindow>();
  window->popWithData(data, nullptr);
  ASSERT_TRUE(page());
  EXPECT_EQ(page()->loads(), std::vector<std::string>{"https://localhost:8088/static/window.html"});
  const double width = 390 / 590.5 * 520, height = width * 1.5;
  UIView& card = *window->webController()->view();
  const auto shown = [&](UIView& view) { return view.layer().presentation(host.now()).frame(); };
  EXPECT_EQ(shown(card).size, (CGSize{width, 0}));
  host.advance(0.1);
  EXPECT_TRUE(shown(card).size.height > 0 && shown(card).size.height < height);
  EXPECT_NEAR(shown(card).center().y, 422, 1e-9);
  EXPECT_EQ(window->webController()->wkWebView()->frame(), CGRectMake(0, 0, width, height))
      << "the model size is set immediately";
  host.advance(0.2);
  EXPECT_NEAR(shown(card).size.height, height, 1e-9);
  EXPECT_NEAR(host.pixelAt(card.frame().minX() + 1, card.frame().minY() + 1).red, 179, 1) << "outside the round corner";
  window->_close();
  host.advance(0.2);
  window.reset();
  EXPECT_TRUE(host.pages().empty());
}

TEST_F(WebController, ButtonImagesAreFoundByNameOrBeforeVersion13ByScreenScale) {
  const double before = platformSystemVersion();
  for (double version : {before, 12.0}) {
    setPlatformSystemVersion(version);
    for (const char* name : {"oq_webview_back", "oq_webview_close"}) {
      ASSERT_TRUE(webControllerImage(name)) << name;
      EXPECT_EQ(webControllerImage(name)->size(), (CGSize{36, 36}));
      EXPECT_EQ(webControllerImage(name)->scale(), 2);
    }
  }
  UIScreen::mainScreen().setScale(3.9);
  EXPECT_EQ(webControllerImage("oq_webview_back")->scale(), 3);
  EXPECT_EQ(webControllerImage("oq_close"), nullptr) << "there is none of this scale";
  setPlatformSystemVersion(before);
}

}  // namespace
}  // namespace oq
