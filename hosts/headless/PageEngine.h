// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "WebKit/WebEngine.h"
#include "oqsdk/headless/HeadlessPage.h"

namespace oq {

/// The state of a page, shared by the caller's HeadlessPage and the page object that the library uses.
// The enclosing class is exported; without this attribute the nested class would be, too.
class __attribute__((visibility("hidden"))) HeadlessPage::Impl {
 public:
  WebPageSettings settings;
  WebPageClient* client = nullptr;  ///< nullptr once the page is closed
  std::vector<std::string> loads;
  std::vector<HeadlessPage::Script> scripts;
  std::vector<std::string> history;  ///< committed addresses; the last is shown
  std::string url, title;
  bool isGoingBack = false, isReloading = false;
  int stops = 0, openDialogs = 0;

  void ask(const std::string& address);
  void commit();
  void askDialog(WebPanel::Kind kind, const std::string& message, const std::string& defaultText,
                 const std::shared_ptr<Impl>& self);
};

/// Opens pages that load nothing themselves: the host's caller simulates the loading. Main thread only.
class PageEngine : public WebEngine {
 public:
  using State = HeadlessPage::Impl;

  std::unique_ptr<WebPage> openPage(const WebPageSettings& settings, WebPageClient& client, Error& reason) override;
  /// The pages that are open, oldest first.
  std::vector<std::shared_ptr<HeadlessPage>> pages() const;
  /// Sets why no page can be opened from now on; "" allows pages again.
  void refuse(std::string reason);

 private:
  std::string _refusal;
  std::vector<std::shared_ptr<HeadlessPage>> _pages;
};

}  // namespace oq
