// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "WebKit/WKScriptMessage.h"

namespace oq {

enum class WKUserScriptInjectionTime : int { AtDocumentStart = 0, AtDocumentEnd = 1 };

/// A script that runs in every page of a web view.
struct WKUserScript {
  std::string source;
  WKUserScriptInjectionTime injectionTime = WKUserScriptInjectionTime::AtDocumentStart;
  bool isForMainFrameOnly = true;
};

/// What a web view adds to its pages: the library's scripts, and handlers to which page scripts can post messages.
/// Scripts and handler names that are added after a web view's first load have no effect on that view. Main thread
/// only.
///
/// Ownership: a handler is held strongly while the web view is in a window, and weakly otherwise. A handler often owns
/// the web view; the resulting reference cycle exists only while the view is in a window. A handler stays registered
/// until it is removed by name, also while it is held weakly.
class WKUserContentController {
 public:
  /// A second handler with the same name is ignored.
  void addScriptMessageHandler(const std::shared_ptr<WKScriptMessageHandler>& handler, const std::string& name);
  void removeScriptMessageHandlerForName(const std::string& name) { _handlers.erase(name); }
  void addUserScript(WKUserScript script) { _scripts.push_back(std::move(script)); }

  const std::vector<WKUserScript>& userScripts() const { return _scripts; }
  std::vector<std::string> handlerNames() const;
  /// nullptr if there is no handler of that name, or it was destroyed.
  std::shared_ptr<WKScriptMessageHandler> handlerForName(const std::string& name) const;

 private:
  friend class WKWebView;
  void setKeepsHandlers(bool keeps);

  struct Handler {
    std::weak_ptr<WKScriptMessageHandler> known;
    std::shared_ptr<WKScriptMessageHandler> kept;
  };
  std::map<std::string, Handler> _handlers;
  std::vector<WKUserScript> _scripts;
  bool _keepsHandlers = false;
};

}  // namespace oq
