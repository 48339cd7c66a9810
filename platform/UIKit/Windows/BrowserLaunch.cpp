// SPDX-License-Identifier: Apache-2.0
#include "UIKit/Windows/BrowserLaunch.h"

#include <gio/gio.h>

#include "Dispatch/DispatchQueue.h"
#include "Foundation/Networking/URL.h"
#include "Foundation/System/GLibReference.h"
#include "Foundation/Values/Format.h"

namespace oq {

namespace {

bool isWebAddress(const std::string& address) {
  const auto url = URL::withString(address);
  return url && (url->scheme() == "https" || url->scheme() == "http");
}

/// Not the asynchronous variant, whose steps need a main context that a host may never run.
void launch(const std::string& address) {
  Failure failure;
  if (g_app_info_launch_default_for_uri(address.c_str(), nullptr, failure.out())) return;
  platformWarning(stringWithFormat("The link %@ could not be opened in a browser: %@", address, failure.message()));
}

}  // namespace

void openInBrowser(const std::string& address) {
  if (!isWebAddress(address)) {
    return platformWarning(stringWithFormat("The link %@ is not opened: it is not an http or https URL", address));
  }
  DispatchQueue::background().async([address] { launch(address); });
}

}  // namespace oq
