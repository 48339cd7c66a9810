// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QtWebEngineCore/QWebEngineProfile>
#include <functional>

class QWebEngineCertificateError;
class QWebEngineView;

namespace oq::qt {

/// The profile that all pages share. It stores pages and cookies in the folder of the first call, and cancels all
/// downloads. It is destroyed with the application object, after every registered view.
QWebEngineProfile& profileFor(const char* folder);
/// The engine requires that its views are destroyed before its profile.
void registerView(QWebEngineView* view);

/// Removes cookies and the cache now, and everything else when the application ends: the engine cannot do that earlier.
/// Returns false if there is no profile yet.
bool removeStoredData();

/// Whether the library's HTTPS client accepts a certificate that the engine refused: its chain ends at an authority in
/// the file that SSL_CERT_FILE names, and it is valid for the address's host.
bool isTrustedByUs(const QWebEngineCertificateError& error);

}  // namespace oq::qt
