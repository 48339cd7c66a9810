// SPDX-License-Identifier: Apache-2.0
#include "WebKit/WKWebView.h"

#include "UIKit/Views/UIRefreshControl.h"
#include "WebKit/WebEngineRegistry.h"
#include "platform/UIKit/Windows/ScriptedHost.h"

namespace oq {
namespace {

using Log = std::vector<std::string>;

/// An engine with one page that the test plays.
class PlayedEngine : public WebEngine {
 public:
  PlayedEngine() { setWebEngine(this); }
  ~PlayedEngine() override { setWebEngine(nullptr); }

  std::unique_ptr<WebPage> openPage(const WebPageSettings& wanted, WebPageClient& pageClient, Error& reason) override {
    settings = wanted;
    client = &pageClient;
    if (refuses) reason = {"Played", 7, "no page now"};
    return refuses ? nullptr : std::make_unique<Page>(*this);
  }

  Log log;
  WebPageSettings settings;
  WebPageClient* client = nullptr;
  std::optional<std::string> result;
  bool refuses = false;

 private:
  struct Page : WebPage {
    explicit Page(PlayedEngine& engine) : _engine(engine) {}
    void load(const std::string& url) override { _engine.log.push_back("load " + url); }
    void reload() override { _engine.log.push_back("reload"); }
    void stopLoading() override { _engine.log.push_back("stop"); }
    std::string url() const override { return "https://shown.example/"; }
    bool canGoBack() const override { return _engine.result.has_value(); }
    void goBack() override { _engine.log.push_back("back"); }
    void evaluate(const std::string&, std::function<void(const std::optional<std::string>&)> done) override {
      done(_engine.result);
    }
    void viewMoved(UIView& view) override { _engine.log.push_back(view.window() ? "entered" : "left"); }
    PlayedEngine& _engine;
  };
};

/// Answers every dialog and allows no response.
class Delegate final : public WKUIDelegate, public WKNavigationDelegate {
 public:
  void runJavaScriptAlertPanel(WKWebView&, const std::string& message, std::function<void()> done) override {
    log.push_back("alert " + message);
    done();
  }
  void runJavaScriptConfirmPanel(WKWebView&, const std::string& message, std::function<void(bool)> done) override {
    log.push_back("confirm " + message);
    done(message == "yes");
  }
  void runJavaScriptTextInputPanel(WKWebView&, const std::string& message, const std::string& text,
                                   std::function<void(const std::optional<std::string>&)> done) override {
    done(message == "cancel" ? std::nullopt : std::optional(message + text));
  }
  void didStartProvisionalNavigation(WKWebView&) override { log.push_back("started"); }
  void didFailProvisionalNavigation(WKWebView&, const Error& error) override {
    log.push_back("failed " + std::to_string(error.code) + " " + error.localizedDescription);
  }
  void didFailNavigation(WKWebView&, const Error& error) override {
    log.push_back("failed later " + std::to_string(error.code));
  }
  void decidePolicyForNavigationResponse(WKWebView&, const WebResponse& response,
                                         const std::function<void(WKNavigationResponsePolicy)>& decide) override {
    if (response.statusCode == 200) decide(WKNavigationResponsePolicy::Allow);
  }
  Log log;
};

class WKWebViewTest : public UIKitTest {
 protected:
  /// What a script's dialog returns: whether it was confirmed, and the text.
  std::pair<bool, std::optional<std::string>> answerTo(WebPanel::Kind kind, const std::string& message) {
    std::pair<bool, std::optional<std::string>> answered{false, "not answered"};
    engine.client->pageAsks({kind, message, "default", [&](bool confirmed, const std::optional<std::string>& text) {
                               answered = {confirmed, text};
                             }});
    return answered;
  }
  void load(const char* address) { view->loadRequest(URL::withString(address)); }

  PlayedEngine engine;
  std::shared_ptr<WKWebViewConfiguration> configuration = std::make_shared<WKWebViewConfiguration>();
  std::shared_ptr<WKWebView> view = makeMainObject<WKWebView>(CGRectMake(0, 0, 100, 200), configuration);
  std::shared_ptr<Delegate> delegate = std::make_shared<Delegate>();
};

TEST_F(WKWebViewTest, ScriptDialogsAreCancelledWithoutADelegate) {
  load("https://a.example/");
  using Kind = WebPanel::Kind;
  using Answer = std::pair<bool, std::optional<std::string>>;
  for (const Kind kind : {Kind::Alert, Kind::Confirm, Kind::Prompt})
    EXPECT_EQ(answerTo(kind, "yes"), (Answer{false, std::nullopt}));
  EXPECT_TRUE(engine.client->pageMayShow({"", "text/html", 404})) << "responses are shown";

  view->setUIDelegate(delegate);
  view->setNavigationDelegate(delegate);
  EXPECT_EQ(answerTo(Kind::Alert, "hello"), (Answer{true, std::nullopt}));
  EXPECT_EQ(answerTo(Kind::Confirm, "yes"), (Answer{true, std::nullopt}));
  EXPECT_EQ(answerTo(Kind::Confirm, "no"), (Answer{false, std::nullopt}));
  EXPECT_EQ(answerTo(Kind::Prompt, "the "), (Answer{true, "the default"}));
  EXPECT_EQ(answerTo(Kind::Prompt, "cancel"), (Answer{false, std::nullopt}));
  EXPECT_EQ(delegate->log, (Log{"alert hello", "confirm yes", "confirm no"}));
  EXPECT_TRUE(engine.client->pageMayShow({"", "text/html", 200}));
  EXPECT_FALSE(engine.client->pageMayShow({"", "text/html", 404})) << "the delegate did not decide";
}

TEST_F(WKWebViewTest, PageIsOpenedOnceWithTheConfiguration) {
  configuration->userContentController()->addUserScript({"first", WKUserScriptInjectionTime::AtDocumentStart, true});
  configuration->userContentController()->addUserScript({"last", WKUserScriptInjectionTime::AtDocumentEnd, false});
  view->setAllowsBackForwardNavigationGestures(true);
  view->scrollView()->setRefreshControl(makeMainObject<UIRefreshControl>());
  window->addSubview(view);
  load("https://a.example/");
  load("about:blank");
  view->reload();
  view->stopLoading();
  view->goBack();
  view->removeFromSuperview();
  EXPECT_EQ(engine.log, (Log{"entered", "load https://a.example/", "load about:blank", "reload", "stop", "left"}));
  EXPECT_TRUE(engine.settings.allowsBackForwardGestures && engine.settings.tellsPulls);
  ASSERT_EQ(engine.settings.scripts.size(), 2u);
  EXPECT_TRUE(engine.settings.scripts[0].atDocumentStart && engine.settings.scripts[0].mainFrameOnly);
  EXPECT_FALSE(engine.settings.scripts[1].atDocumentStart || engine.settings.scripts[1].mainFrameOnly);

  std::vector<std::string> results;
  const auto note = [&](const JSONValue& value, const std::optional<Error>& error) {
    results.push_back(error ? error->domain : serialize(value));
  };
  view->evaluateJavaScript("x", note);
  for (const char* json : {"[1]", "{torn"}) {
    engine.result = json;
    view->evaluateJavaScript("x", note);
  }
  EXPECT_EQ(results, (Log{"WKErrorDomain", "[1]", "\"{torn\""}));
  engine.client->pageProgressed(1.5);
  EXPECT_EQ(view->estimatedProgress(), 1);
  view->goBack();
  EXPECT_EQ(engine.log.back(), "back");
}

TEST_F(WKWebViewTest, LoadsThatFailAreRepeatedByAReload) {
  view->setNavigationDelegate(delegate);
  for (const char* address : {"http://a.example/", "file:///etc/passwd", ""}) {
    load(address);
    EXPECT_TRUE(delegate->log.empty()) << "later";
    runMainQueue();
    ASSERT_EQ(delegate->log.size(), 2u) << address;
    EXPECT_EQ(delegate->log[0], "started");
    EXPECT_EQ(delegate->log[1], *address ? "failed -1002 unsupported URL" : "failed -1000 bad URL");
    delegate->log.clear();
  }
  engine.refuses = true;
  load("https://a.example/");
  load("https://b.example/");
  runMainQueue();
  EXPECT_EQ(delegate->log, (Log{"started", "failed 7 no page now"})) << "only the last load";
  engine.refuses = false;
  view->reload();
  engine.client->pageStarted();
  view->reload();
  engine.client->pageFailed({"d", -5, ""}, "https://c.example/", true);
  view->reload();
  engine.client->pageFailed({"d", -6, "x"}, "https://c.example/", false);
  view->reload();
  EXPECT_EQ(engine.log, (Log{"load https://b.example/", "reload", "reload", "load https://c.example/"}));
  EXPECT_EQ(delegate->log, (Log{"started", "failed 7 no page now", "started", "failed later -5", "failed -6 x"}));
}

}  // namespace
}  // namespace oq
