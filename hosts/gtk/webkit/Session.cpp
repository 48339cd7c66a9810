#include "Session.h"

#include <cstdlib>
#include <memory>
#include <string>

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
  // Each view shows one page once, so no memory is used to make going back faster.
  webkit_web_context_set_cache_model(webkit_web_context_get_default(), WEBKIT_CACHE_MODEL_DOCUMENT_VIEWER);
  return session;
}

}  // namespace

WebKitNetworkSession* networkSession(const char* folder) {
  static WebKitNetworkSession* session = makeSession(folder);
  return session;
}

bool prepareNextPart(const char* folder) {
  static int part = 0;
  switch (part++) {
    case 0:
      webkit_web_context_get_default();
      return true;
    case 1:
      networkSession(folder);
      return true;
    case 2: {
      // The first view initializes data that all views share. It is never shown, and starts no web process.
      const ObjectRef<GObject> view(G_OBJECT(
          g_object_ref_sink(g_object_new(WEBKIT_TYPE_WEB_VIEW, "network-session", networkSession(folder), nullptr))));
      return ownAuthorities() != nullptr;
    }
    case 3: {
      // Loads the module that verifies certificates.
      const ObjectRef<GTlsDatabase> authorities(g_tls_file_database_new(ownAuthorities(), nullptr));
      return false;
    }
    default:
      return false;
  }
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

WebKitSettings* makePageSettings(bool allowsBackForwardGestures) {
  return webkit_settings_new_with_settings(
      "enable-back-forward-navigation-gestures", allowsBackForwardGestures ? TRUE : FALSE, "enable-developer-extras",
      FALSE, "allow-file-access-from-file-urls", FALSE, "allow-universal-access-from-file-urls", FALSE,
      "allow-top-navigation-to-data-urls", FALSE, "javascript-can-access-clipboard", FALSE,
      "javascript-can-open-windows-automatically", FALSE, "enable-media-stream", FALSE, "enable-page-cache", FALSE,
      nullptr);
}

}  // namespace oq::gtk
