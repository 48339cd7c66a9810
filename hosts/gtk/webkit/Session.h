#pragma once

#include <webkit/webkit.h>

namespace oq::gtk {

/// A view for one page, which the caller owns: the one that prepareNextPart() has made, else a new one. All views share
/// one network session, with pages and cookies in the folder of the first call. Downloads end before they begin, and
/// passwords are not kept.
WebKitWebView* takeView(const char* folder);

/// Makes one of the objects that the first page needs, so that it finds them ready: in the end its view, with a web
/// process. Returns whether any is left.
bool prepareNextPart(const char* folder);

/// Whether the library's HTTPS client accepts a certificate that the engine refused: its chain ends at an authority in
/// the file that SSL_CERT_FILE names, and it is valid for the address's host.
bool isTrustedByUs(GTlsCertificate* certificate, const char* address);

}  // namespace oq::gtk
