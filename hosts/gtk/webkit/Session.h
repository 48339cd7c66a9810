#pragma once

#include <webkit/webkit.h>

namespace oq::gtk {

/// The one network session of the process, with pages and cookies in a folder of their own. Made at the first call and
/// never destroyed. Downloads end before they begin, and passwords are not kept.
WebKitNetworkSession* networkSession(const char* folder);

/// Makes one of the objects that the first page needs, so that it finds them ready. Returns whether any is left.
bool prepareNextPart(const char* folder);

/// Whether a certificate that the engine refused is one that the library's HTTPS client accepts: its chain ends at an
/// authority of the file that SSL_CERT_FILE names, and it is made out to the address's host.
bool isTrustedByUs(GTlsCertificate* certificate, const char* address);

/// What pages may not do, whatever they ask for.
WebKitSettings* makePageSettings(bool allowsBackForwardGestures);

}  // namespace oq::gtk
