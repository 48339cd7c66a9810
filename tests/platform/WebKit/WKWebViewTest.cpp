// SPDX-License-Identifier: Apache-2.0
#include "WebKit/WKWebView.h"

#include "WebKit/WebEngineRegistry.h"
#include "platform/UIKit/Windows/ScriptedHost.h"

namespace oq {
namespace {

using Log = std::vector<std::string>;

/// An engine that opens pages which do nothing.
class SilentEngine : public WebEngine {
 public:
  SilentEngine() { setWebEngine(this); }
  ~SilentEngine() override { setWebEngine(nullptr); }
  std::unique_ptr<WebPage> openPage(const WebPageSettings&, WebPageClient& pageClient, Error&) override {
    client = &pageClient;
    return std::make_unique<Page>(*this);
  }
  Log log;
  WebPageClient* client = nullptr;

 private:
  struct Page : WebPage {
    explicit Page(SilentEngine& engine) : _engine(engine) {}
    void load(const std::string& url) override { _engine.log.push_back("load " + url); }
    void reload() override { _engine.log.push_back("reload"); }
    void stopLoading() override {}
    std::string url() const override { return ""; }
    bool canGoBack() const override { return false; }
    void goBack() override { ADD_FAILURE(); }
    void evaluate(const std::string&, std::function<void(const std::optional<std::string>&)> done) override {
      done(std::nullopt);
    }
    void viewMoved(UIView&) override {}
    SilentEngine& _engine;
  };
};

/// Records navigations. Allows responses with status 200, and makes no decision about others.
class Delegate final : public WKNavigationDelegate {
 public:
  void didStartProvisionalNavigation(WKWebView&) override {
    log.push_back("started");
    if (const auto action = std::exchange(onStart, nullptr)) action();
  }
  void didFailProvisionalNavigation(WKWebView&, const Error& error) override {
    log.push_back("failed " + std::to_string(error.code));
  }
  void decidePolicyForNavigationResponse(WKWebView&, const WebResponse& response,
                                         const std::function<void(WKNavigationResponsePolicy)>& decide) override {
    if (response.statusCode == 200) decide(WKNavigationResponsePolicy::Allow);
  }
  Log log;
  std::function<void()> onStart;
};

class WKWebViewTest : public UIKitTest {
 protected:
  WKWebViewTest() { view->loadRequest(URL::withString("https://a.example/")); }
  SilentEngine engine;
  std::shared_ptr<WKWebView> view =
      makeMainObject<WKWebView>(CGRectMake(0, 0, 100, 200), std::make_shared<WKWebViewConfiguration>());
};

TEST_F(WKWebViewTest, WithoutADelegateDialogsAreCancelledAndResponsesShown) {
  int answers = 0;
  for (const auto kind : {WebPanel::Kind::Alert, WebPanel::Kind::Confirm, WebPanel::Kind::Prompt}) {
    engine.client->pageAsks({kind, "", "default", [&](bool confirmed, const std::optional<std::string>& text) {
                               EXPECT_FALSE(confirmed || text);
                               ++answers;
                             }});
  }
  EXPECT_EQ(answers, 3);
  EXPECT_TRUE(engine.client->pageMayShow({"", "text/html", 404}));
  const auto delegate = std::make_shared<Delegate>();
  view->setNavigationDelegate(delegate);
  EXPECT_TRUE(engine.client->pageMayShow({"", "text/html", 200}));
  EXPECT_FALSE(engine.client->pageMayShow({"", "text/html", 404})) << "the delegate did not decide";
}

TEST_F(WKWebViewTest, RefusedLoadFailsLaterUnlessAnotherLoadFollows) {
  const auto delegate = std::make_shared<Delegate>();
  view->setNavigationDelegate(delegate);
  const auto load = [&] { view->loadRequest(URL::withString("http://a.example/")); };
  delegate->onStart = load;
  load();
  view->loadRequest(std::nullopt);
  EXPECT_TRUE(delegate->log.empty());
  runMainQueue();
  EXPECT_EQ(delegate->log, (Log{"started", "started", "failed -1002"}));
}

TEST_F(WKWebViewTest, ScriptsThatThrowAndHostsWithoutAnEngineAreReportedAsErrors) {
  std::optional<Error> thrown;
  view->evaluateJavaScript("throw 1", [&](const JSONValue&, const std::optional<Error>& error) { thrown = error; });
  EXPECT_EQ(thrown.value_or(Error{}).code, 4);

  setWebEngine(nullptr);
  const auto other = makeMainObject<WKWebView>(CGRectMake(0, 0, 100, 200), std::make_shared<WKWebViewConfiguration>());
  const auto delegate = std::make_shared<Delegate>();
  other->setNavigationDelegate(delegate);
  other->loadRequest(URL::withString("https://a.example/"));
  runMainQueue();
  EXPECT_EQ(delegate->log, (Log{"started", "failed -1"}));
}

TEST_F(WKWebViewTest, ReloadRepeatsALoadThatFailedBeforeTheCommit) {
  view->reload();
  engine.client->pageFailed({"d", -5, ""}, "https://b.example/", true);
  view->reload();
  engine.client->pageFailed({"d", -6, ""}, "https://b.example/", false);
  view->reload();
  EXPECT_EQ(engine.log, (Log{"load https://a.example/", "reload", "reload", "load https://b.example/"}));
}

}  // namespace
}  // namespace oq
