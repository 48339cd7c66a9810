// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "CoreGraphics/Color.h"
#include "UIKit/Controllers/UINavigationItem.h"
#include "UIKit/Controllers/UIViewController.h"
#include "UIKit/Views/UIButton.h"
#include "UIKit/Views/UIProgressView.h"
#include "UIKit/Views/UIRefreshControl.h"
#include "WebKit/WKWebView.h"

namespace oq {

/// One web page with a loading bar, a button to try again after a failed load, and a back and a close button for the
/// navigation bar. Messages from the page's scripts are only logged; script dialogs are never shown nor answered.
///
/// Create it with makeMainObject(); main thread only. The web view's content controller keeps this controller alive
/// while the page is in a window, although this controller owns the page. The cycle ends when the page leaves its
/// window (see WKUserContentController). Failure: an address that cannot be loaded is logged, and the button is shown.
/// While consent is missing (OQConsent), no page is opened or loaded.
class OQWebController : public UIViewController,
                        public WKUIDelegate,
                        public WKNavigationDelegate,
                        public WKScriptMessageHandler,
                        public KeyValueObserver {
  OQ_CLASS(OQWebController)

 public:
  OQWebController() : OQWebController(CGRect{}) {}
  /// The frame of the web view; a frame without width or height is ignored.
  explicit OQWebController(CGRect frame) : _frame(frame) {}
  explicit OQWebController(std::string url) : _urlString(std::move(url)) {}
  ~OQWebController() override;

  /// Pushes a page on OQNavigation::currentNavigation(), in place of a page that is already open. Has no effect if
  /// there is no navigation controller.
  static void open(const std::string& url);

  const std::optional<std::string>& urlString() const { return _urlString; }
  void setUrlString(std::optional<std::string> url) { _urlString = std::move(url); }
  // These three are read when the part that they affect is created.
  bool canDownRefresh() const { return _canDownRefresh; }
  void setCanDownRefresh(bool can) { _canDownRefresh = can; }
  const std::optional<std::string>& jsString() const { return _jsString; }
  void setJsString(std::optional<std::string> script) { _jsString = std::move(script); }
  const std::optional<UIColor>& loadingProgressColor() const { return _loadingProgressColor; }
  void setLoadingProgressColor(std::optional<UIColor> color) { _loadingProgressColor = color; }

  void setupUI();
  void loadRequest();
  void wkWebViewReload();
  void showLeftBarButtonItem();
  bool goBackInside() override;
  /// Goes back one page; on the first page, does the same as close().
  void back();
  /// Pops the screen from its navigation stack, and dismisses it if it was presented.
  void close();
  /// Sets the view's bounds and centre, and the web view's size.
  void setBounds(CGRect bounds, CGPoint center);
  void resizeFrame(CGRect frame);

  // The parts, each created on first use.
  const std::shared_ptr<WKWebView>& wkWebView();
  const std::shared_ptr<UIProgressView>& progress();
  const std::shared_ptr<UIRefreshControl>& refreshControl();
  const std::shared_ptr<UIButton>& reloadBtn();
  const std::shared_ptr<UIBarButtonItem>& backBarButtonItem();

  void observeValueForKeyPath(const std::string& keyPath, Object& object, const JSONDictionary& change) override;
  void didStartProvisionalNavigation(WKWebView& webView) override;
  void didFinishNavigation(WKWebView& webView) override;
  void didFailProvisionalNavigation(WKWebView& webView, const Error& error) override;
  void decidePolicyForNavigationResponse(
      WKWebView& webView, const WebResponse& response,
      const std::function<void(WKNavigationResponsePolicy)>& decisionHandler) override;
  void webContentProcessDidTerminate(WKWebView& webView) override;
  void runJavaScriptAlertPanel(WKWebView&, const std::string&, std::function<void()>) override {}
  void runJavaScriptConfirmPanel(WKWebView&, const std::string&, std::function<void(bool)>) override {}
  void runJavaScriptTextInputPanel(WKWebView&, const std::string&, const std::string&,
                                   std::function<void(const std::optional<std::string>&)>) override {}
  void didReceiveScriptMessage(const WKScriptMessage& message) override;

 private:
  void _viewDidLoad();
  bool hasOwnFrame() const { return _frame.size.width != 0 && _frame.size.height != 0; }
  CGRect webViewFrame() const;
  std::shared_ptr<OQWebController> self() { return std::static_pointer_cast<OQWebController>(shared_from_this()); }
  std::shared_ptr<UIButton> barButton(const char* image, const char* name, double x, void (OQWebController::*action)());
  /// Calls the member function, unless this controller has been destroyed.
  UIControl::Action whenTapped(void (OQWebController::*action)());
  void showFailure(const Error& error);

  CGRect _frame;
  std::optional<std::string> _urlString, _jsString;
  std::optional<UIColor> _loadingProgressColor;
  bool _canDownRefresh = false;
  std::shared_ptr<WKWebView> _wkWebView;
  std::shared_ptr<UIProgressView> _progress;
  std::shared_ptr<UIRefreshControl> _refreshControl;
  std::shared_ptr<UIButton> _reloadBtn;
  std::shared_ptr<UIBarButtonItem> _backBarButtonItem;
};

}  // namespace oq
