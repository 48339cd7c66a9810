// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <glib.h>

#include <memory>
#include <optional>
#include <string>

#include "WebKit/WebEngine.h"
#include "WebModuleLoader.h"

namespace oq::gtk {

/// Web pages with WebKitGTK. The module is loaded on a background thread when a page is expected, or else when the
/// first page is opened. It is not loaded if the engine would end the host's process. Main thread only.
class WebPages : public WebEngine {
 public:
  WebPages();
  ~WebPages() override;
  std::unique_ptr<WebPage> openPage(const WebPageSettings& settings, WebPageClient& client, Error& reason) override;
  void prepare() override;
  bool removeData() override { return _module && _module->removeData(); }
  bool isInstalled() const override { return isWebModuleInstalled(); }
  /// Whether prepare() has an effect, for all hosts of the process; true by default.
  static void setPreloads(bool does);

 private:
  struct Preload;
  void whenIdle(void (WebPages::*step)());
  void startPreload();
  void prepareEngine();
  bool takePreloaded();
  bool loadModule(std::string& reason);

  std::optional<WebModule> _module;
  std::unique_ptr<Preload> _preload;
  guint _idle = 0;
  const std::shared_ptr<WebPages*> _self = std::make_shared<WebPages*>(this);
};

}  // namespace oq::gtk
