// SPDX-License-Identifier: Apache-2.0
#include "Pages/OQWebController.h"

#include "Dispatch/DispatchQueue.h"
#include "Foundation/System/Device.h"
#include "Foundation/Values/Number.h"
#include "Pages/OQNavigation.h"
#include "Pages/OQWebImages.h"
#include "UIKit/Controllers/UINavigationBar.h"
#include "UIKit/Controllers/UINavigationController.h"
#include "UIKit/Windows/MainObject.h"
#include "UIKit/Windows/UIApplication.h"
#include "UIKit/Windows/UIScreen.h"
#include "Utils/OQConsent.h"
#include "Utils/OQLogger.h"

namespace oq {

namespace {

constexpr const char* kHandler = "jsCallOC";
constexpr const char* kEstimatedProgress = "estimatedProgress";
// Labels for assistive technology, for parts without text.
constexpr const char *kPageName = "网页", *kBackName = "返回", *kCloseName = "关闭";
constexpr double kBarHeight = 2, kHideDelay = 0.2;

}  // namespace

Class* OQWebController::staticClass() {
  static Class* registered = registerClass("OQWebController", UIViewController::staticClass(),
                                           {method<&OQWebController::_viewDidLoad>(viewDidLoadSelector)});
  return registered;
}

OQWebController::~OQWebController() {
  if (!_wkWebView) return;
  _wkWebView->removeObserver(*this, kEstimatedProgress);
  _wkWebView->stopLoading();
  _wkWebView->setUIDelegate(nullptr);
  _wkWebView->setNavigationDelegate(nullptr);
}

/// Intentional: for each web page on the stack, the top of the stack is popped, even if the top is another screen.
void OQWebController::open(const std::string& url) {
  if (OQConsent::isMissing()) return;
  const auto navigation = OQNavigation::currentNavigation();
  if (!navigation) return;
  for (std::size_t i = 0; i < navigation->viewControllers().size(); ++i) {
    if (std::dynamic_pointer_cast<OQWebController>(navigation->viewControllers()[i]))
      navigation->popViewControllerAnimated(false);
  }
  auto page = makeMainObject<OQWebController>();
  page->setUrlString(url);
  navigation->pushViewController(std::move(page), true);
}

void OQWebController::closeAll() {
  const auto navigation = OQNavigation::currentNavigation();
  if (!navigation) return;
  const auto controllers = navigation->viewControllers();
  for (const auto& controller : controllers) {
    if (const auto page = std::dynamic_pointer_cast<OQWebController>(controller)) page->close();
  }
}

void OQWebController::_viewDidLoad() {
  sendSuper(staticClass(), *this, viewDidLoadSelector);
  setupUI();
  loadRequest();
}

void OQWebController::setupUI() {
  view()->setBackgroundColor(UIColor::whiteColor());
  view()->setAccessibilityLabel(kPageName);
  showLeftBarButtonItem();
  view()->addSubview(wkWebView());
  view()->addSubview(progress());
  view()->addSubview(reloadBtn());
  // Unless the web view has a frame of its own, it is resized together with the controller's view.
  wkWebView()->setFillsSuperview(!hasOwnFrame());
}

void OQWebController::loadRequest() {
  if (OQConsent::isMissing()) return;
  wkWebView()->loadRequest(URL::withString(_urlString.value_or("")));
}

void OQWebController::wkWebViewReload() {
  if (OQConsent::isMissing()) return;
  wkWebView()->reload();
}

void OQWebController::showLeftBarButtonItem() {
  // Intentional: the result is ignored, so both buttons are shown on the first page, too.
  wkWebView()->canGoBack();
  navigationItem()->setLeftBarButtonItem(backBarButtonItem());
}

bool OQWebController::goBackInside() {
  if (!wkWebView()->canGoBack()) return false;
  wkWebView()->goBack();
  return true;
}

void OQWebController::back() {
  if (!goBackInside()) close();
}

void OQWebController::close() {
  const auto keepsThis = self();
  if (const auto navigation = navigationController()) navigation->popViewControllerAnimated(true);
  dismissViewControllerAnimated(true);
}

void OQWebController::setBounds(CGRect bounds, CGPoint center) {
  view()->setBounds(bounds);
  view()->setCenter(center);
  resizeFrame(bounds);
}

void OQWebController::resizeFrame(CGRect frame) {
  wkWebView()->setFrame(CGRectMake(0, 0, frame.size.width, frame.size.height));
  progress()->setFrame(CGRectMake(0, 0, frame.size.width, kBarHeight));
}

CGRect OQWebController::webViewFrame() const {
  if (hasOwnFrame()) return _frame;
  const CGSize screen = UIScreen::mainScreen().bounds().size;
  const auto navigation = navigationController();
  const double bar = navigation ? navigation->navigationBar()->frame().size.height : 0;
  const double statusBar = UIApplication::sharedApplication().statusBarFrame().size.height;
  return CGRectMake(0, 0, screen.width, screen.height - (bar + statusBar));
}

const std::shared_ptr<WKWebView>& OQWebController::wkWebView() {
  if (_wkWebView) return _wkWebView;
  auto configuration = std::make_shared<WKWebViewConfiguration>();
  configuration->setPreferences(std::make_shared<WKPreferences>());
  configuration->setAllowsInlineMediaPlayback(true);
  configuration->setSelectionGranularity(WKSelectionGranularity::Character);
  auto content = std::make_shared<WKUserContentController>();
  content->addScriptMessageHandler(self(), kHandler);
  if (_jsString) content->addUserScript({*_jsString, WKUserScriptInjectionTime::AtDocumentStart, false});
  configuration->setUserContentController(std::move(content));

  _wkWebView = makeMainObject<WKWebView>(webViewFrame(), std::move(configuration));
  _wkWebView->setUIDelegate(self());
  _wkWebView->setNavigationDelegate(self());
  _wkWebView->setAllowsBackForwardNavigationGestures(true);
  if (platformSystemVersion() >= 10.0 && _canDownRefresh) _wkWebView->scrollView()->setRefreshControl(refreshControl());
  _wkWebView->addObserver(self(), kEstimatedProgress);
  return _wkWebView;
}

const std::shared_ptr<UIProgressView>& OQWebController::progress() {
  if (_progress) return _progress;
  _progress = makeMainObject<UIProgressView>(CGRectMake(0, 0, view()->bounds().size.width, kBarHeight));
  _progress->setTintColor(_loadingProgressColor.value_or(UIColor::greenColor()));
  return _progress;
}

const std::shared_ptr<UIRefreshControl>& OQWebController::refreshControl() {
  if (_refreshControl) return _refreshControl;
  _refreshControl = makeMainObject<UIRefreshControl>();
  _refreshControl->addTarget(whenTapped(&OQWebController::wkWebViewReload), UIControlEventValueChanged);
  return _refreshControl;
}

const std::shared_ptr<UIButton>& OQWebController::reloadBtn() {
  if (_reloadBtn) return _reloadBtn;
  _reloadBtn = makeMainObject<UIButton>();
  _reloadBtn->setFrame(CGRectMake(0, 0, 200, 140));
  _reloadBtn->setCenter(view()->center());
  _reloadBtn->setTitle("网络异常，点击重新加载", UIControlStateNormal);
  _reloadBtn->setTitleColor(UIColor::lightGrayColor(), UIControlStateNormal);
  _reloadBtn->titleLabel().setFont(UIFont::systemFontOfSize(15));
  // Intentional: the insets move the title below the centre, as if there were a picture above it.
  _reloadBtn->setTitleEdgeInsets({200, -50, 0, -50});
  _reloadBtn->titleLabel().setNumberOfLines(0);
  _reloadBtn->titleLabel().setTextAlignment(NSTextAlignment::Center);
  _reloadBtn->addTarget(whenTapped(&OQWebController::wkWebViewReload), UIControlEventTouchUpInside);
  CGRect frame = _reloadBtn->frame();
  frame.origin.y -= 100;
  _reloadBtn->setFrame(frame);
  _reloadBtn->setHidden(true);
  return _reloadBtn;
}

UIControl::Action OQWebController::whenTapped(void (OQWebController::*action)()) {
  return [weak = std::weak_ptr<OQWebController>(self()), action](UIControl&) {
    if (const auto controller = weak.lock()) (*controller.*action)();
  };
}

std::shared_ptr<UIButton> OQWebController::barButton(const char* image, const char* name, double x,
                                                     void (OQWebController::*action)()) {
  auto button = makeMainObject<UIButton>();
  button->setFrame(CGRectMake(x, 0, 36, 36));
  button->setImage(webControllerImage(image), UIControlStateNormal);
  button->setAccessibilityLabel(name);
  button->addTarget(whenTapped(action), UIControlEventTouchUpInside);
  return button;
}

const std::shared_ptr<UIBarButtonItem>& OQWebController::backBarButtonItem() {
  if (_backBarButtonItem) return _backBarButtonItem;
  auto pair = makeMainObject<UIView>(CGRectMake(0, 0, 72, 36));
  pair->addSubview(barButton("oq_webview_back", kBackName, 0, &OQWebController::back));
  pair->addSubview(barButton("oq_webview_close", kCloseName, 36, &OQWebController::close));
  _backBarButtonItem = std::make_shared<UIBarButtonItem>(std::move(pair));
  return _backBarButtonItem;
}

void OQWebController::observeValueForKeyPath(const std::string& keyPath, Object&, const JSONDictionary& change) {
  const JSONValue* value = keyPath == kEstimatedProgress ? change.if_contains("new") : nullptr;
  if (!value) return;
  progress()->setProgress(static_cast<float>(doubleValue(*value)));
  if (progress()->progress() != 1.0f) return;
  DispatchQueue::main().after(kHideDelay, [weak = std::weak_ptr<UIView>(progress())] {
    if (const auto bar = weak.lock()) bar->setHidden(true);
  });
}

void OQWebController::didStartProvisionalNavigation(WKWebView& webView) {
  progress()->setHidden(false);
  webView.setHidden(false);
  reloadBtn()->setHidden(true);
  const auto url = webView.URL();
  if (url && url->scheme() == "about") webView.setHidden(true);
}

void OQWebController::didFinishNavigation(WKWebView& webView) {
  webView.evaluateJavaScript("document.title", [weak = std::weak_ptr<OQWebController>(self())](
                                                   const JSONValue& title, const std::optional<Error>&) {
    const auto controller = weak.lock();
    if (!controller) return;
    controller->navigationItem()->setTitle(title.is_string() ? std::optional(std::string(title.get_string()))
                                                             : std::nullopt);
  });
  showLeftBarButtonItem();
  refreshControl()->endRefreshing();
}

void OQWebController::didFailProvisionalNavigation(WKWebView&, const Error& error) {
  showFailure(error);
}

/// Called when the process that runs the page has ended. Then only the button to load the page again is shown.
void OQWebController::webContentProcessDidTerminate(WKWebView&) {
  showFailure({"WebKitErrorDomain", 300, "the web process has ended"});
}

void OQWebController::showFailure(const Error& error) {
  wkWebView()->setHidden(true);
  reloadBtn()->setHidden(false);
  OQLogger::error(stringWithFormat("页面加载失败：%@，url：%@", error, _urlString));
}

void OQWebController::decidePolicyForNavigationResponse(
    WKWebView&, const WebResponse&, const std::function<void(WKNavigationResponsePolicy)>& decisionHandler) {
  decisionHandler(WKNavigationResponsePolicy::Allow);
}

/// Intentional: a script message is only logged; not even the name of its handler is checked.
void OQWebController::didReceiveScriptMessage(const WKScriptMessage& message) {
  OQLogger::log("js拦截，调用OC方法，方法名：%@,参数：%@", message.name, message.body);
}

}  // namespace oq
