// SPDX-License-Identifier: Apache-2.0
#include "WebKit/WKUserContentController.h"

namespace oq {

void WKUserContentController::addScriptMessageHandler(const std::shared_ptr<WKScriptMessageHandler>& handler,
                                                      const std::string& name) {
  if (handler) _handlers.try_emplace(name, Handler{handler, _keepsHandlers ? handler : nullptr});
}

std::vector<std::string> WKUserContentController::handlerNames() const {
  std::vector<std::string> names;
  for (const auto& [name, handler] : _handlers) names.push_back(name);
  return names;
}

std::shared_ptr<WKScriptMessageHandler> WKUserContentController::handlerForName(const std::string& name) const {
  const auto found = _handlers.find(name);
  return found == _handlers.end() ? nullptr : found->second.known.lock();
}

void WKUserContentController::setKeepsHandlers(bool keeps) {
  _keepsHandlers = keeps;
  // Handlers are released after the loop, because releasing one may destroy this object: a handler may be the last
  // owner of the web view, which owns this object.
  std::vector<std::shared_ptr<WKScriptMessageHandler>> released;
  for (auto& [name, handler] : _handlers) {
    released.push_back(std::move(handler.kept));
    handler.kept = keeps ? handler.known.lock() : nullptr;
  }
}

}  // namespace oq
