// SPDX-License-Identifier: Apache-2.0
#include "WebKit/WKWebView.h"

#include <algorithm>
#include <utility>

#include "Dispatch/DispatchQueue.h"
#include "Foundation/Values/JSONSerialization.h"
#include "UIKit/Views/UIRefreshControl.h"
#include "WebKit/WebEngineRegistry.h"

namespace oq {

namespace {

/// Longer than any address that a server accepts.
constexpr std::size_t kLongestAddress = 1u << 20;

Error refusal(URLErrorCode code, const char* description) {
  return {URLErrorDomain, code, description};
}

/// Parses JSON. JSON that cannot be parsed, for example because it is nested too deeply, is returned as a string.
JSONValue valueOf(const std::string& json) {
  if (auto value = valueWithJSONData(Data(json.begin(), json.end()))) return *std::move(value);
  return JSONValue(json);
}

}  // namespace

std::optional<Error> objectionToLoading(const std::optional<URL>& url) {
  if (!url) return refusal(URLErrorBadURL, "bad URL");
  if (url->absoluteString().size() > kLongestAddress) return refusal(URLErrorBadURL, "the URL is too long");
  const std::string scheme = url->scheme();
  if (scheme == "https" || scheme == "about") return std::nullopt;
  return refusal(URLErrorUnsupportedURL, "unsupported URL");
}

Class* WKWebView::staticClass() {
  static Class* registered = registerClass("WKWebView", UIView::staticClass());
  return registered;
}

WKWebView::WKWebView(CGRect frame, std::shared_ptr<WKWebViewConfiguration> configuration)
    : UIView(frame),
      _configuration(configuration ? std::move(configuration) : std::make_shared<WKWebViewConfiguration>()),
      _scrollView(makeMainObject<UIScrollView>()) {
  setBackgroundColor(UIColor::whiteColor());
  setClipsToBounds(true);
}

WKWebView::~WKWebView() = default;

bool WKWebView::openPage(Error& reason) {
  if (_page) return true;
  WebEngine* engine = webEngine();
  if (!engine) {
    reason = refusal(URLErrorUnknown, "this host shows no web pages");
    return false;
  }
  WebPageSettings settings;
  settings.allowsBackForwardGestures = _allowsGestures;
  settings.tellsPulls = _scrollView->refreshControl() != nullptr;
  if (const auto& content = _configuration->userContentController()) {
    settings.messageHandlers = content->handlerNames();
    for (const WKUserScript& script : content->userScripts()) {
      const bool atStart = script.injectionTime == WKUserScriptInjectionTime::AtDocumentStart;
      settings.scripts.push_back({script.source, atStart, script.isForMainFrameOnly});
    }
  }
  _page = engine->openPage(settings, *this, reason);
  if (_page && window()) _page->viewMoved(*this);
  return _page != nullptr;
}

void WKWebView::loadRequest(const std::optional<oq::URL>& url) {
  ++_loads;
  _failedAddress = url ? url->absoluteString() : "";
  Error reason;
  if (const auto objection = objectionToLoading(url)) {
    failLater(*objection);
  } else if (openPage(reason)) {
    _failedAddress.reset();
    _page->load(url->absoluteString());
  } else {
    failLater(std::move(reason));
  }
}

void WKWebView::failLater(Error error) {
  DispatchQueue::main().async([weak = std::weak_ptr<WKWebView>(self()), load = _loads, error = std::move(error)] {
    const auto view = weak.lock();
    if (!view || view->_loads != load) return;
    if (const auto delegate = view->navigationDelegate()) delegate->didStartProvisionalNavigation(*view);
    if (view->_loads != load) return;
    if (const auto delegate = view->navigationDelegate()) delegate->didFailProvisionalNavigation(*view, error);
  });
}

void WKWebView::reload() {
  if (_failedAddress) return loadRequest(oq::URL::withString(*_failedAddress));
  if (_page) _page->reload();
}

void WKWebView::stopLoading() {
  ++_loads;
  if (_page) _page->stopLoading();
}

bool WKWebView::canGoBack() const {
  return _page && _page->canGoBack();
}

void WKWebView::goBack() {
  if (canGoBack()) _page->goBack();
}

std::optional<oq::URL> WKWebView::URL() const {
  return oq::URL::withString(_page ? _page->url() : "");
}

void WKWebView::evaluateJavaScript(
    const std::string& script,
    std::function<void(const JSONValue& result, const std::optional<Error>& error)> completion) {
  if (!_page) return;
  _page->evaluate(script, [completion = std::move(completion)](const std::optional<std::string>& json) {
    if (!completion) return;
    if (json) return completion(valueOf(*json), std::nullopt);
    completion(JSONValue(), Error{"WKErrorDomain", 4, "A JavaScript exception occurred"});
  });
}

void WKWebView::didMoveToWindow() {
  const auto keepsView = self();
  if (_page) _page->viewMoved(*this);
  if (const auto& content = _configuration->userContentController()) content->setKeepsHandlers(window() != nullptr);
}

// A page's callbacks may destroy this view, so each function below keeps the view alive until it returns.

void WKWebView::pageStarted() {
  const auto keepsView = self();
  _failedAddress.reset();
  if (const auto delegate = navigationDelegate()) delegate->didStartProvisionalNavigation(*this);
}

void WKWebView::pageCommitted() {
  const auto keepsView = self();
  if (const auto delegate = navigationDelegate()) delegate->didCommitNavigation(*this);
}

void WKWebView::pageFinished() {
  const auto keepsView = self();
  if (const auto delegate = navigationDelegate()) delegate->didFinishNavigation(*this);
}

void WKWebView::pageFailed(const Error& error, const std::string& url, bool committed) {
  const auto keepsView = self();
  if (!committed) _failedAddress = url;
  const auto delegate = navigationDelegate();
  if (!delegate) return;
  committed ? delegate->didFailNavigation(*this, error) : delegate->didFailProvisionalNavigation(*this, error);
}

void WKWebView::pageProgressed(double progress) {
  const auto keepsView = self();
  _estimatedProgress = std::clamp(progress, 0.0, 1.0);
  _observers.notify("estimatedProgress", *this, _estimatedProgress);
}

void WKWebView::pageCrashed() {
  const auto keepsView = self();
  if (const auto delegate = navigationDelegate()) delegate->webContentProcessDidTerminate(*this);
}

bool WKWebView::pageMayShow(const WebResponse& response) {
  const auto keepsView = self();
  const auto delegate = navigationDelegate();
  if (!delegate) return true;
  const auto policy = std::make_shared<WKNavigationResponsePolicy>(WKNavigationResponsePolicy::Cancel);
  delegate->decidePolicyForNavigationResponse(*this, response, [policy](auto decision) { *policy = decision; });
  return *policy == WKNavigationResponsePolicy::Allow;
}

void WKWebView::pagePosted(const std::string& handler, const std::string& json) {
  const auto keepsView = self();
  const auto& content = _configuration->userContentController();
  const auto receiver = content ? content->handlerForName(handler) : nullptr;
  if (receiver) receiver->didReceiveScriptMessage({handler, valueOf(json)});
}

void WKWebView::pageAsks(WebPanel panel) {
  const auto keepsView = self();
  const auto delegate = UIDelegate();
  const auto answer = std::move(panel.answer);
  if (!delegate) return answer(false, std::nullopt);
  switch (panel.kind) {
    case WebPanel::Kind::Alert:
      return delegate->runJavaScriptAlertPanel(*this, panel.message, [answer] { answer(true, std::nullopt); });
    case WebPanel::Kind::Confirm:
      return delegate->runJavaScriptConfirmPanel(*this, panel.message,
                                                 [answer](bool confirmed) { answer(confirmed, std::nullopt); });
    case WebPanel::Kind::Prompt:
      return delegate->runJavaScriptTextInputPanel(
          *this, panel.message, panel.defaultText,
          [answer](const std::optional<std::string>& text) { answer(text.has_value(), text); });
  }
}

void WKWebView::pagePulledDown() {
  const auto keepsView = self();
  if (const auto control = _scrollView->refreshControl()) control->pulledDownOver(*this);
}

}  // namespace oq
