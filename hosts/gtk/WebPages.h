#pragma once

#include <memory>
#include <string>

#include "WebKit/WebEngine.h"
#include "webkit/WebModule.h"

namespace oq::gtk {

class Host;

/// Web pages by WebKitGTK, whose module is loaded for the first page, and only where it would not end the host's
/// process. Main thread only.
class WebPages : public WebEngine {
 public:
  /// The host outlives all pages.
  explicit WebPages(Host& host) : _host(host) {}
  std::unique_ptr<WebPage> openPage(const WebPageSettings& settings, WebPageClient& client,
                                    Error& reason) override;

 private:
  bool loadModule(std::string& reason);

  Host& _host;
  OpenWebPage _open = nullptr;
};

}  // namespace oq::gtk
