// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

#include "WebKit/WebEngine.h"
#include "web/WebModule.h"

namespace oq::qt {

/// Web pages with Qt WebEngine, in windows of Qt Widgets. The module is loaded when the first page is opened. It is not
/// loaded if the engine would end the application's process. Main thread only.
class WebPages : public WebEngine {
 public:
  std::unique_ptr<WebPage> openPage(const WebPageSettings& settings, WebPageClient& client, Error& reason) override;
  bool removeData() override { return _module && _module->removeData(); }
  /// Whether pages can be shown: the module is installed, and nothing is known that would prevent it from running.
  bool isInstalled() const override;
  /// From now on no pages are shown: a window of Qt Quick, in which there is no place for the engine's widget, may
  /// request one.
  void forbid();

 private:
  struct Module {
    OpenWebPage open;
    RemoveWebData removeData;
  };
  std::optional<std::string> objection() const;
  bool load(std::string& reason);

  std::optional<Module> _module;
  bool _isForbidden = false;
};

}  // namespace oq::qt
