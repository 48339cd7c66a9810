// SPDX-License-Identifier: Apache-2.0
#include "Session.h"

#include <openssl/pem.h>
#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QPointer>
#include <QtNetwork/QSslCertificate>
#include <QtWebEngineCore/QWebEngineCertificateError>
#include <QtWebEngineCore/QWebEngineCookieStore>
#include <QtWebEngineCore/QWebEngineDownloadRequest>
#include <QtWebEngineCore/QWebEngineSettings>
#include <QtWebEngineWidgets/QWebEngineView>
#include <cstdlib>
#include <memory>
#include <utility>
#include <vector>

namespace oq::qt {

namespace {

struct Session {
  QWebEngineProfile* profile = nullptr;
  QString folder;
  bool removesFolder = false;
  std::vector<QPointer<QWebEngineView>> views;
};

Session& session() {
  static auto& only = *new Session;
  return only;
}

void deleteViews() {
  for (const auto& view : std::exchange(session().views, {})) delete view.data();
}

/// Called when the application object is destroyed, before the engine itself ends.
void endSession() {
  deleteViews();
  delete std::exchange(session().profile, nullptr);
  if (session().removesFolder) QDir(session().folder).removeRecursively();
}

QWebEngineProfile* makeProfile(const QString& folder) {
  auto* profile = new QWebEngineProfile("oqsdk");
  profile->setPersistentStoragePath(folder + "/data");
  profile->setCachePath(folder + "/cache");
  profile->setPersistentCookiesPolicy(QWebEngineProfile::AllowPersistentCookies);
  QObject::connect(profile, &QWebEngineProfile::downloadRequested, profile,
                   [](QWebEngineDownloadRequest* download) { download->cancel(); });
  QWebEngineSettings& settings = *profile->settings();
  using Attribute = QWebEngineSettings::WebAttribute;
  for (const Attribute refused :
       {Attribute::JavascriptCanOpenWindows, Attribute::JavascriptCanAccessClipboard,
        Attribute::LocalContentCanAccessFileUrls, Attribute::LocalContentCanAccessRemoteUrls,
        Attribute::ErrorPageEnabled, Attribute::FullScreenSupportEnabled, Attribute::ScreenCaptureEnabled,
        Attribute::PluginsEnabled, Attribute::NavigateOnDropEnabled, Attribute::FocusOnNavigationEnabled})
    settings.setAttribute(refused, false);
  return profile;
}

using Certificate = std::unique_ptr<X509, decltype(&X509_free)>;

Certificate parsed(const QSslCertificate& certificate) {
  const QByteArray bytes = certificate.toDer();
  const auto* begin = reinterpret_cast<const unsigned char*>(bytes.constData());
  return {d2i_X509(nullptr, &begin, bytes.size()), X509_free};
}

}  // namespace

QWebEngineProfile& profileFor(const char* folder) {
  Session& current = session();
  if (!current.profile) {
    current.folder = QString::fromUtf8(folder);
    current.profile = makeProfile(current.folder);
    // After the profile, because these functions are called in reverse order, and the engine has one of its own.
    qAddPostRoutine(endSession);
    // Views that were drawn cannot be deleted after Qt Quick has ended, which would be before endSession().
    QObject::connect(qApp, &QCoreApplication::aboutToQuit, current.profile, deleteViews);
  }
  return *current.profile;
}

void registerView(QWebEngineView* view) {
  auto& views = session().views;
  std::erase_if(views, [](const auto& each) { return each.isNull(); });
  views.emplace_back(view);
}

bool removeStoredData() {
  Session& current = session();
  if (!current.profile) return false;
  current.profile->cookieStore()->deleteAllCookies();
  current.profile->clearHttpCache();
  current.removesFolder = true;
  return true;
}

bool isTrustedByUs(const QWebEngineCertificateError& error) {
  const char* file = std::getenv("SSL_CERT_FILE");
  const QList<QSslCertificate> chain = error.certificateChain();
  if (!file || !*file || chain.isEmpty()) return false;
  const std::unique_ptr<X509_STORE, decltype(&X509_STORE_free)> store(X509_STORE_new(), X509_STORE_free);
  if (!store || X509_STORE_load_locations(store.get(), file, nullptr) != 1) return false;

  std::vector<Certificate> certificates;
  const std::unique_ptr<STACK_OF(X509), void (*)(STACK_OF(X509)*)> others(
      sk_X509_new_null(), [](STACK_OF(X509) * stack) { sk_X509_free(stack); });
  for (const QSslCertificate& each : chain) {
    certificates.push_back(parsed(each));
    if (!certificates.back()) return false;
    sk_X509_push(others.get(), certificates.back().get());
  }
  const std::unique_ptr<X509_STORE_CTX, decltype(&X509_STORE_CTX_free)> check(X509_STORE_CTX_new(),
                                                                              X509_STORE_CTX_free);
  if (!check || X509_STORE_CTX_init(check.get(), store.get(), certificates.front().get(), others.get()) != 1)
    return false;
  X509_VERIFY_PARAM* rules = X509_STORE_CTX_get0_param(check.get());
  X509_VERIFY_PARAM_set_purpose(rules, X509_PURPOSE_SSL_SERVER);
  const std::string host = error.url().host(QUrl::FullyEncoded).toStdString();
  if (X509_VERIFY_PARAM_set1_host(rules, host.c_str(), host.size()) != 1) return false;
  return X509_verify_cert(check.get()) == 1;
}

}  // namespace oq::qt
