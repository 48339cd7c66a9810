#pragma once

#include <webkit/webkit.h>

namespace oq::gtk {

/// The process-wide network session, with pages and cookies in a separate folder. Created at the first call and never
/// destroyed. Cancels all downloads and stores no passwords.
WebKitNetworkSession* networkSession(const char* folder);

/// Creates one of the objects that the first page needs, so that it opens faster. Returns whether any is left.
bool prepareNextPart(const char* folder);

/// Whether the library's HTTPS client accepts a certificate that the engine refused: its chain ends at an authority in
/// the file that SSL_CERT_FILE names, and it is valid for the address's host.
bool isTrustedByUs(GTlsCertificate* certificate, const char* address);

/// Settings that restrict what pages may do.
WebKitSettings* makePageSettings(bool allowsBackForwardGestures);

}  // namespace oq::gtk
