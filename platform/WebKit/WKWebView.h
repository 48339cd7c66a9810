// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Foundation/Networking/URL.h"
#include "Foundation/Stores/KeyValueObserver.h"
#include "UIKit/Views/UIScrollView.h"
#include "WebKit/WKDelegates.h"
#include "WebKit/WKWebViewConfiguration.h"
#include "WebKit/WebEngine.h"

namespace oq {

/// Why an address must not be loaded; nullopt if it may be loaded. Only HTTPS addresses and the empty "about" pages may
/// be loaded, never local resources.
std::optional<Error> objectionToLoading(const std::optional<URL>& url);

/// A view that shows web pages with the engine of the installed host. The engine creates a page at the first load. If
/// an address cannot be loaded, because there is no engine or the address is not allowed, the navigation delegate is
/// notified later, on the main queue, of the start and then of the failure. Delegates and observers are held weakly.
/// Create it with makeMainObject(); main thread only.
class WKWebView : public UIView, private WebPageClient {
  OQ_CLASS(WKWebView)

 public:
  WKWebView(CGRect frame, std::shared_ptr<WKWebViewConfiguration> configuration);
  ~WKWebView() override;

  const std::shared_ptr<WKWebViewConfiguration>& configuration() const { return _configuration; }
  std::shared_ptr<WKUIDelegate> UIDelegate() const { return _uiDelegate.lock(); }
  void setUIDelegate(const std::shared_ptr<WKUIDelegate>& delegate) { _uiDelegate = delegate; }
  std::shared_ptr<WKNavigationDelegate> navigationDelegate() const { return _navigationDelegate.lock(); }
  void setNavigationDelegate(const std::shared_ptr<WKNavigationDelegate>& delegate) { _navigationDelegate = delegate; }
  bool allowsBackForwardNavigationGestures() const { return _allowsGestures; }
  void setAllowsBackForwardNavigationGestures(bool allows) { _allowsGestures = allows; }
  /// Never scrolls, because the engine scrolls the page. It only holds the refresh control.
  const std::shared_ptr<UIScrollView>& scrollView() const { return _scrollView; }

  void loadRequest(const std::optional<URL>& url);
  /// If the last load failed before its page was shown, loads that address again. Otherwise reloads the shown page.
  void reload();
  void stopLoading();
  bool canGoBack() const;
  void goBack();
  /// The address shown or being loaded; nullopt before the first load.
  std::optional<oq::URL> URL() const;
  double estimatedProgress() const { return _estimatedProgress; }
  /// The completion is called later, once, with the result, or with an error if the script failed. It is never called
  /// if nothing was loaded before, or if the page closes first.
  void evaluateJavaScript(const std::string& script,
                          std::function<void(const JSONValue& result, const std::optional<Error>& error)> completion);

  /// Supports the key path "estimatedProgress".
  void addObserver(const std::shared_ptr<KeyValueObserver>& observer, const std::string& keyPath) {
    _observers.add(observer, keyPath);
  }
  void removeObserver(const KeyValueObserver& observer, const std::string& keyPath) {
    _observers.remove(observer, keyPath);
  }

  void didMoveToWindow() override;

 private:
  void pageStarted() override;
  void pageCommitted() override;
  void pageFinished() override;
  void pageFailed(const Error& error, const std::string& url, bool committed) override;
  void pageProgressed(double progress) override;
  void pageCrashed() override;
  bool pageMayShow(const WebResponse& response) override;
  void pagePosted(const std::string& handler, const std::string& json) override;
  void pageAsks(WebPanel panel) override;
  void pagePulledDown() override;

  bool openPage(Error& reason);
  void failLater(Error error);
  std::shared_ptr<WKWebView> self() { return std::static_pointer_cast<WKWebView>(shared_from_this()); }

  const std::shared_ptr<WKWebViewConfiguration> _configuration;
  const std::shared_ptr<UIScrollView> _scrollView;
  std::weak_ptr<WKUIDelegate> _uiDelegate;
  std::weak_ptr<WKNavigationDelegate> _navigationDelegate;
  KeyValueObservers _observers;
  std::unique_ptr<WebPage> _page;
  /// The address that reload() must load, because its last load failed before a page was shown; nullopt if the page
  /// itself can reload.
  std::optional<std::string> _failedAddress;
  /// Increased by every load and stop, so that failLater() does not report a load that is no longer the latest.
  std::uint64_t _loads = 0;
  double _estimatedProgress = 0;
  bool _allowsGestures = false;
};

}  // namespace oq
