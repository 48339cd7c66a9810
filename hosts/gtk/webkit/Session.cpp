// SPDX-License-Identifier: Apache-2.0
#include "Session.h"

#include <cstdlib>
#include <memory>
#include <string>
#include <utility>

#include "Foundation/System/GLibReference.h"

namespace oq::gtk {

namespace {

void cancelDownload(WebKitNetworkSession*, WebKitDownload* download, gpointer) {
  webkit_download_cancel(download);
}

/// The file of authorities that the library's HTTPS client trusts in addition to the system's; nullptr if there is
/// none.
const char* ownAuthorities() {
  const char* file = std::getenv("SSL_CERT_FILE");
  return file && *file ? file : nullptr;
}

WebKitNetworkSession* makeSession(const std::string& folder) {
  auto* session = webkit_network_session_new((folder + "/data").c_str(), (folder + "/cache").c_str());
  WebKitCookieManager* cookies = webkit_network_session_get_cookie_manager(session);
  webkit_cookie_manager_set_persistent_storage(cookies, (folder + "/cookies.sqlite").c_str(),
                                               WEBKIT_COOKIE_PERSISTENT_STORAGE_SQLITE);
  webkit_network_session_set_tls_errors_policy(session, WEBKIT_TLS_ERRORS_POLICY_FAIL);
  // Storing passwords would use the keyring, which may show a question to the user.
  webkit_network_session_set_persistent_credential_storage_enabled(session, FALSE);
  g_signal_connect(session, "download-started", G_CALLBACK(cancelDownload), nullptr);
  // This model uses no memory for documents that were shown before. They are rarely needed, because each view belongs
  // to one page of the library.
  webkit_web_context_set_cache_model(webkit_web_context_get_default(), WEBKIT_CACHE_MODEL_DOCUMENT_VIEWER);
  return session;
}

WebKitNetworkSession* madeSession = nullptr;

/// The one network session of the process, made at the first call and never destroyed.
WebKitNetworkSession* networkSession(const char* folder) {
  if (!madeSession) madeSession = makeSession(folder);
  return madeSession;
}

/// Settings that restrict what pages may do.
WebKitSettings* makeViewSettings() {
  return webkit_settings_new_with_settings(
      "enable-developer-extras", FALSE, "allow-file-access-from-file-urls", FALSE,
      "allow-universal-access-from-file-urls", FALSE, "allow-top-navigation-to-data-urls", FALSE,
      "javascript-can-access-clipboard", FALSE, "javascript-can-open-windows-automatically", FALSE,
      "enable-media-stream", FALSE, "enable-page-cache", FALSE, nullptr);
}

WebKitWebView* makeView(const char* folder) {
  const ObjectRef<WebKitSettings> settings(makeViewSettings());
  auto* view = g_object_new(WEBKIT_TYPE_WEB_VIEW, "network-session", networkSession(folder), "settings", settings.get(),
                            nullptr);
  return WEBKIT_WEB_VIEW(g_object_ref_sink(view));
}

WebKitWebView* preparedView = nullptr;  ///< created in advance for the first page
bool areViewsTaken = false;

}  // namespace

WebKitWebView* takeView(const char* folder) {
  areViewsTaken = true;
  if (!preparedView) return makeView(folder);
  return std::exchange(preparedView, nullptr);
}

bool prepareNextPart(const char* folder) {
  static int part = 0;
  // If a page was opened meanwhile, everything that it needs exists already.
  if (areViewsTaken) return false;
  switch (part++) {
    case 0:
      // Loading the first class of the engine initialises data that all classes share.
      g_type_class_unref(g_type_class_ref(WEBKIT_TYPE_SETTINGS));
      return true;
    case 1:
      webkit_web_context_get_default();
      return true;
    case 2:
      networkSession(folder);
      return true;
    case 3:
      preparedView = makeView(folder);
      return true;
    case 4:
      // Starts the web process. Loading a blank page would do so too, but would stay in the history of the view.
      webkit_web_view_evaluate_javascript(preparedView, "0", -1, nullptr, nullptr, nullptr, nullptr, nullptr);
      return ownAuthorities() != nullptr;
    case 5: {
      // Creating a certificate database makes GLib load its TLS module.
      const ObjectRef<GTlsDatabase> authorities(g_tls_file_database_new(ownAuthorities(), nullptr));
      return false;
    }
    default:
      return false;
  }
}

bool removeStoredData() {
  if (!madeSession) return false;
  constexpr GTimeSpan kOfAnyAge = 0;
  webkit_website_data_manager_clear(webkit_network_session_get_website_data_manager(madeSession),
                                    WEBKIT_WEBSITE_DATA_ALL, kOfAnyAge, nullptr, nullptr, nullptr);
  return true;
}

bool isTrustedByUs(GTlsCertificate* certificate, const char* address) {
  const char* file = ownAuthorities();
  if (!file || !certificate) return false;
  const ObjectRef<GTlsDatabase> authorities(g_tls_file_database_new(file, nullptr));
  g_autoptr(GUri) uri = g_uri_parse(address, G_URI_FLAGS_NONE, nullptr);
  if (!authorities || !uri || !g_uri_get_host(uri)) return false;
  const ObjectRef<GSocketConnectable> identity(g_network_address_new(g_uri_get_host(uri), 443));
  g_autoptr(GError) error = nullptr;
  const GTlsCertificateFlags flags =
      g_tls_database_verify_chain(authorities.get(), certificate, G_TLS_DATABASE_PURPOSE_AUTHENTICATE_SERVER,
                                  identity.get(), nullptr, G_TLS_DATABASE_VERIFY_NONE, nullptr, &error);
  return !error && flags == G_TLS_CERTIFICATE_NO_FLAGS;
}

}  // namespace oq::gtk
