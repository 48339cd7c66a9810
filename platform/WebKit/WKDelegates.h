// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "Foundation/Values/Error.h"
#include "WebKit/WebEngine.h"

namespace oq {

class WKWebView;

enum class WKNavigationResponsePolicy : int { Cancel = 0, Allow = 1 };

/// Receives a web view's navigation events. Main thread only.
class WKNavigationDelegate {
 public:
  virtual void didStartProvisionalNavigation(WKWebView&) {}
  virtual void didCommitNavigation(WKWebView&) {}
  virtual void didFinishNavigation(WKWebView&) {}
  virtual void didFailProvisionalNavigation(WKWebView&, const Error&) {}
  /// The navigation failed after the new document was committed.
  virtual void didFailNavigation(WKWebView&, const Error&) {}
  /// The implementation must call the handler before it returns; otherwise the response is not shown.
  virtual void decidePolicyForNavigationResponse(
      WKWebView&, const WebResponse&, const std::function<void(WKNavigationResponsePolicy)>& decisionHandler) {
    decisionHandler(WKNavigationResponsePolicy::Allow);
  }
  virtual void webContentProcessDidTerminate(WKWebView&) {}

 protected:
  ~WKNavigationDelegate() = default;
};

/// Shows the dialogs that a page's scripts open. The script waits until the completion handler is called. Without a
/// delegate every dialog ends immediately, as if the user had cancelled it. Main thread only.
class WKUIDelegate {
 public:
  virtual void runJavaScriptAlertPanel(WKWebView&, const std::string& message,
                                       std::function<void()> completionHandler) = 0;
  virtual void runJavaScriptConfirmPanel(WKWebView&, const std::string& message,
                                         std::function<void(bool confirmed)> completionHandler) = 0;
  virtual void runJavaScriptTextInputPanel(
      WKWebView&, const std::string& prompt, const std::string& defaultText,
      std::function<void(const std::optional<std::string>& text)> completionHandler) = 0;

 protected:
  ~WKUIDelegate() = default;
};

}  // namespace oq
