// SPDX-License-Identifier: Apache-2.0
#include "UIKit/Windows/BrowserLaunch.h"

#include <gio/gdesktopappinfo.h>
#include <gio/gio.h>

#include <csignal>

#include "Dispatch/DispatchQueue.h"
#include "Foundation/Networking/URL.h"
#include "Foundation/System/GLibReference.h"
#include "Foundation/Values/Format.h"

namespace oq {

namespace {

bool isWebAddress(const std::optional<URL>& url) {
  return url && (url->scheme() == "https" || url->scheme() == "http");
}

/// Runs in the new process before the browser starts. The background thread blocks signals. The browser would inherit
/// the blocked signals, and would then ignore a request to terminate.
void unblockSignals(gpointer) noexcept {
  sigset_t none;
  sigemptyset(&none);
  pthread_sigmask(SIG_SETMASK, &none, nullptr);
}

/// False if there is no application for the address, or if it cannot be started.
bool launchApplication(const std::string& scheme, const std::string& address) {
  const ObjectRef<GAppInfo> application(g_app_info_get_default_for_uri_scheme(scheme.c_str()));
  if (!application || !G_IS_DESKTOP_APP_INFO(application.get())) return false;
  std::string uri = address;
  GList addresses{uri.data(), nullptr, nullptr};
  return g_desktop_app_info_launch_uris_as_manager(G_DESKTOP_APP_INFO(application.get()), &addresses, nullptr,
                                                   G_SPAWN_SEARCH_PATH, unblockSignals, nullptr, nullptr, nullptr,
                                                   nullptr);
}

/// Does not use the asynchronous functions of GLib, because they need a main context, which a host may never run.
void launch(const std::string& scheme, const std::string& address) {
  if (launchApplication(scheme, address)) return;
  // In a sandbox this asks the desktop to open the link.
  Failure failure;
  if (g_app_info_launch_default_for_uri(address.c_str(), nullptr, failure.out())) return;
  platformWarning(stringWithFormat("The link %@ could not be opened in a browser: %@", address, failure.message()));
}

}  // namespace

void openInBrowser(const std::string& address) {
  const auto url = URL::withString(address);
  if (!isWebAddress(url)) {
    return platformWarning(stringWithFormat("The link %@ is not opened: it is not an http or https URL", address));
  }
  DispatchQueue::background().async([scheme = url->scheme(), address] { launch(scheme, address); });
}

}  // namespace oq
