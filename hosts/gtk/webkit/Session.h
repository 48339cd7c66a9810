// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <webkit/webkit.h>

namespace oq::gtk {

/// A view for one page, owned by the caller: the one that prepareNextPart() created, or else a new one. All views share
/// one network session, which is never destroyed and stores pages and cookies in the folder of the first call. It
/// cancels all downloads and stores no passwords.
WebKitWebView* takeView(const char* folder);

/// Does one step of the preparation for the first page, so that the page opens faster. The steps create, among other
/// objects, its view and a web process. Returns whether a step is left.
bool prepareNextPart(const char* folder);

/// Begins to remove what pages have stored, and does not wait for the end. Returns false if there is no network session
/// yet.
bool removeStoredData();

/// Whether the library's HTTPS client accepts a certificate that the engine refused: its chain ends at an authority in
/// the file that SSL_CERT_FILE names, and it is valid for the address's host.
bool isTrustedByUs(GTlsCertificate* certificate, const char* address);

}  // namespace oq::gtk
