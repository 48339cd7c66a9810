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
/// Create it with makeMainObject(); main thread only. This controller owns the web view. While the web view is in a
/// window, its content controller holds this controller strongly. The cycle ends when the web view leaves its window
/// (see WKUserContentController). Failure: an address that cannot be loaded is logged, and the button to try again is
/// shown. While consent is missing (OQConsent), no page is opened or loaded.
class OQWebController : public UIViewController,
                        public WKUIDelegate,
                        public WKNavigationDelegate,
                        public WKScriptMessageHandler,
                        public KeyValueObserver {
  OQ_CLASS(OQWebController)

 public:
  OQWebController() : OQWebController(CGRect{}) {}
  /// `frame` is the frame of the web view. It is ignored if its width or height is 0.
  explicit OQWebController(CGRect frame) : _frame(frame) {}
  explicit OQWebController(std::string url) : _urlString(std::move(url)) {}
  ~OQWebController() override;

  /// Pushes a page on the stack of OQNavigation::currentNavigation(). An open page at the top of the stack is popped
  /// first. Has no effect without a navigation controller and while consent is missing.
  static void open(const std::string& url);
  /// Calls close() for each page on the stack of OQNavigation::currentNavigation().
  static void closeAll();

  const std::optional<std::string>& urlString() const { return _urlString; }
  void setUrlString(std::optional<std::string> url) { _urlString = std::move(url); }
  // Set these three values before the part that they affect is created; a later change has no effect. canDownRefresh
  // (the user can pull the page down to reload it) and jsString (a script that runs at the start of each document)
  // affect the web view, loadingProgressColor affects the loading bar.
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
  /// Pops the top of its navigation stack, and dismisses this controller if it was presented.
  void close();
  /// Sets the view's bounds and centre, and fits the web view and the loading bar into the bounds.
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
  /// Returns an action that calls the member function. It does nothing after this controller was destroyed.
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
