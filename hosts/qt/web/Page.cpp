// SPDX-License-Identifier: Apache-2.0
#include "Page.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QEventLoop>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonValue>
#include <QtCore/QTimer>
#include <QtGui/QWheelEvent>
#include <QtNetwork/QAuthenticator>
#include <QtWebChannel/QWebChannel>
#include <QtWebEngineCore/QWebEngineCertificateError>
#include <QtWebEngineCore/QWebEngineHistory>
#include <QtWebEngineCore/QWebEngineQuotaRequest>
#include <QtWebEngineCore/QWebEngineScript>
#include <QtWebEngineCore/QWebEngineScriptCollection>
#include <utility>

#include "Session.h"

namespace oq::qt {

namespace {

/// Names that a page must not use for its own messages.
constexpr const char* kCommitted = " committed";

/// Whether an address may be loaded, in any frame of a page. A page may create frames from its own data, but must not
/// access local resources.
bool mayBeLoaded(const QUrl& url) {
  const QString scheme = url.scheme();
  return scheme == "https" || scheme == "about" || scheme == "data" || scheme == "blob";
}

std::string jsonOf(const QVariant& value) {
  // Only arrays and objects are documents.
  const QByteArray text = QJsonDocument(QJsonArray{QJsonValue::fromVariant(value)}).toJson(QJsonDocument::Compact);
  return text.mid(1, text.size() - 2).toStdString();
}

/// The numbers are those of Chromium's net errors.
std::int64_t codeOf(const QWebEngineLoadingInfo& info) {
  switch (info.errorDomain()) {
    case QWebEngineLoadingInfo::CertificateErrorDomain:
      return URLErrorServerCertificateUntrusted;
    case QWebEngineLoadingInfo::DnsErrorDomain:
      return URLErrorCannotFindHost;
    default:
      break;
  }
  switch (info.errorCode()) {
    case -3:
      return URLErrorCancelled;
    case -7:
    case -118:
      return URLErrorTimedOut;
    case -102:
    case -104:
    case -109:
      return URLErrorCannotConnectToHost;
    case -100:
    case -101:
    case -103:
    case -324:
    case -354:
      return URLErrorNetworkConnectionLost;
    case -105:
    case -106:  // offline: no name can be resolved
    case -137:
      return URLErrorCannotFindHost;
    case -107:
    case -113:
      return URLErrorSecureConnectionFailed;
    case -300:
      return URLErrorBadURL;
    case -301:
    case -302:
      return URLErrorUnsupportedURL;
    default:
      return info.errorCode() <= -200 && info.errorCode() > -300 ? URLErrorServerCertificateUntrusted : URLErrorUnknown;
  }
}

void addScript(QWebEnginePage& page, const QString& source, bool atStart, bool isMainFrameOnly) {
  QWebEngineScript script;
  script.setSourceCode(source);
  script.setInjectionPoint(atStart ? QWebEngineScript::DocumentCreation : QWebEngineScript::DocumentReady);
  script.setWorldId(QWebEngineScript::MainWorld);
  script.setRunsOnSubFrames(!isMainFrameOnly);
  page.scripts().insert(script);
}

}  // namespace

/// Reports the wheel events of the view, whose inner widget is created with the first page.
class Page::WheelWatch : public QObject {
 public:
  explicit WheelWatch(Page& page) : _page(page) {}
  void watch() {
    if (QWidget* inner = _page._view->focusProxy()) {
      inner->removeEventFilter(this);
      inner->installEventFilter(this);
    }
  }

 protected:
  bool eventFilter(QObject*, QEvent* event) override {
    if (event->type() == QEvent::Wheel) _page.scrolled(static_cast<QWheelEvent*>(event)->angleDelta().y());
    return false;
  }

 private:
  Page& _page;
};

void Mailbox::post(const QString& handler, const QString& json) {
  _page.posted(handler, json);
}

bool EnginePage::acceptNavigationRequest(const QUrl& url, NavigationType, bool) {
  return mayBeLoaded(url);
}

void EnginePage::javaScriptAlert(const QUrl&, const QString& text) {
  if (_page) _page->ask(WebPanel::Kind::Alert, text, {}, nullptr);
}

bool EnginePage::javaScriptConfirm(const QUrl&, const QString& text) {
  // The engine also asks here whether the user wants to leave the page, with this text; the page may always be left.
  if (text == QCoreApplication::translate("QWebEnginePage",
                                          "Are you sure you want to leave this page? Changes that "
                                          "you made may not be saved."))
    return true;
  return _page && _page->ask(WebPanel::Kind::Confirm, text, {}, nullptr);
}

bool EnginePage::javaScriptPrompt(const QUrl&, const QString& text, const QString& defaultText, QString* result) {
  return _page && _page->ask(WebPanel::Kind::Prompt, text, defaultText, result);
}

Page::Page(const char* folder, const WebPageSettings& settings, WebPageClient& client,
           std::function<void()> contentArrived)
    : _client(client),
      _contentArrived(std::move(contentArrived)),
      _view(new QWebEngineView),
      _page(new EnginePage(profileFor(folder), *this)) {
  registerView(_view);
  _page->setParent(_view);
  _view->setPage(_page);
  _view->setContextMenuPolicy(Qt::NoContextMenu);
  addScripts(settings);
  connectLoad();
  connectLimits();
  if (settings.tellsPulls) _wheel = std::make_unique<WheelWatch>(*this);
}

Page::~Page() {
  for (const auto& loop : std::exchange(_dialogs, {})) {
    if (loop) loop->exit(1);
  }
  _wheel.reset();
  if (!_view) return;
  _page->detach();
  _view->hide();
  _view->setParent(nullptr);
  _page->setWebChannel(nullptr);
  // Ends everything that runs for the page, when the engine has finished the current call.
  _view->deleteLater();
}

/// Scripts find the handlers in `window.webkit.messageHandlers`. Their messages come through the engine's web channel,
/// whose own script is not needed to call one function. Only the main frame has that channel, and it passes on the
/// messages of other frames.
void Page::addScripts(const WebPageSettings& settings) {
  auto* channel = new QWebChannel(_page);
  channel->registerObject("oqsdk", &_mailbox);
  _page->setWebChannel(channel, QWebEngineScript::MainWorld);
  QJsonArray names;
  for (const std::string& name : settings.messageHandlers) names.append(QString::fromStdString(name));
  constexpr const char* bridge = R"((() => {
    const names = %1, handlers = {}, key = 'oqsdk message';
    const send = (name, json) => qt.webChannelTransport.send(
        JSON.stringify({type: 6, object: 'oqsdk', method: 'post', args: [name, json], id: 0}));
    const pass = window === top ? send : (name, json) => top.postMessage({[key]: [name, json]}, '*');
    for (const name of names)
      handlers[name] = Object.freeze({postMessage: body => pass(name, JSON.stringify(body) ?? 'null')});
    Object.defineProperty(window, 'webkit', {value: Object.freeze({messageHandlers: Object.freeze(handlers)})});
    if (window !== top) return;
    send('%2', 'null');
    window.addEventListener('message', event => {
      const message = event.data?.[key];
      if (!message) return;
      event.stopImmediatePropagation();
      if (names.includes(message[0])) send(message[0], String(message[1]));
    });
  })())";
  const QString known = QString::fromUtf8(QJsonDocument(names).toJson(QJsonDocument::Compact));
  addScript(*_page, QString(bridge).arg(known, kCommitted), true, false);
  for (const WebScript& script : settings.scripts)
    addScript(*_page, QString::fromStdString(script.source), script.atDocumentStart, script.mainFrameOnly);
}

void Page::connectLoad() {
  QObject::connect(_page, &QWebEnginePage::loadingChanged, &_context,
                   [this](const QWebEngineLoadingInfo& info) { loadingChanged(info); });
  QObject::connect(_page, &QWebEnginePage::loadProgress, &_context,
                   [this](int percent) { _client.pageProgressed(percent / 100.0); });
  QObject::connect(_page, &QWebEnginePage::urlChanged, &_context, [this](const QUrl& url) {
    if (!url.isEmpty()) _url = url.toString(QUrl::FullyEncoded).toStdString();
  });
  QObject::connect(_page, &QWebEnginePage::renderProcessTerminated, &_context,
                   [this](QWebEnginePage::RenderProcessTerminationStatus status, int) {
                     if (status == QWebEnginePage::NormalTerminationStatus) return;
                     _hasCrashed = true;
                     _client.pageCrashed();
                   });
  // A certificate that is neither accepted nor deferred is refused.
  QObject::connect(_page, &QWebEnginePage::certificateError, &_context, [](const QWebEngineCertificateError& error) {
    QWebEngineCertificateError decided(error);
    isTrustedByUs(error) ? decided.acceptCertificate() : decided.rejectCertificate();
  });
}

/// Denies the page everything outside its widget: permissions, stored passwords, and storage beyond the usual limit.
void Page::connectLimits() {
  QObject::connect(_page, &QWebEnginePage::featurePermissionRequested, &_context,
                   [this](const QUrl& origin, QWebEnginePage::Feature feature) {
                     _page->setFeaturePermission(origin, feature, QWebEnginePage::PermissionDeniedByUser);
                   });
  QObject::connect(_page, &QWebEnginePage::quotaRequested, &_context,
                   [](QWebEngineQuotaRequest request) { request.reject(); });
  QObject::connect(_page, &QWebEnginePage::authenticationRequired, &_context,
                   [](const QUrl&, QAuthenticator* answer) { *answer = QAuthenticator(); });
  QObject::connect(_page, &QWebEnginePage::proxyAuthenticationRequired, &_context,
                   [](const QUrl&, QAuthenticator* answer, const QString&) { *answer = QAuthenticator(); });
}

void Page::loadingChanged(const QWebEngineLoadingInfo& info) {
  const std::string url = info.url().toString(QUrl::FullyEncoded).toStdString();
  switch (info.status()) {
    case QWebEngineLoadingInfo::LoadStartedStatus:
      _isCommitted = _hasCrashed = false;
      if (!url.empty()) _url = url;
      return _client.pageStarted();
    case QWebEngineLoadingInfo::LoadSucceededStatus:
      break;
    case QWebEngineLoadingInfo::LoadStoppedStatus:
      return _client.pageFailed({URLErrorDomain, URLErrorCancelled, "cancelled"}, url, _isCommitted);
    case QWebEngineLoadingInfo::LoadFailedStatus:
      // An answer such as 404 is a document like any other.
      if (info.errorDomain() == QWebEngineLoadingInfo::HttpStatusCodeDomain) break;
      return _client.pageFailed({URLErrorDomain, codeOf(info), info.errorString().toStdString()}, url, _isCommitted);
  }
  const QPointer<QObject> context(&_context);
  if (!_isCommitted) committed();
  if (context) _client.pageFinished();
}

void Page::committed() {
  _isCommitted = true;
  _view->setZoomFactor(_zoom);
  if (_wheel) _wheel->watch();
  if (!std::exchange(_hasContent, true)) _contentArrived();
  _client.pageCommitted();
}

void Page::posted(const QString& handler, const QString& json) {
  if (handler != kCommitted) return _client.pagePosted(handler.toStdString(), json.toStdString());
  if (!_isCommitted) committed();
}

void Page::setZoom(double zoom) {
  _zoom = zoom;
  if (_view) _view->setZoomFactor(zoom);
}

void Page::load(const std::string& url) {
  _url = url;
  if (_page) _page->load(QUrl(QString::fromStdString(url)));
}

void Page::reload() {
  // After a crash there is no document to reload.
  if (_hasCrashed) return load(_url);
  if (_page) _page->triggerAction(QWebEnginePage::Reload);
}

void Page::stopLoading() {
  if (_page) _page->triggerAction(QWebEnginePage::Stop);
}

bool Page::canGoBack() const {
  return _page && _page->history()->canGoBack();
}

void Page::goBack() {
  if (_page) _page->history()->back();
}

/// For a script that fails, the engine returns the same value as for `undefined`, so both give "null".
void Page::evaluate(const std::string& script, std::function<void(const std::optional<std::string>& json)> completion) {
  if (!_page) return;
  _page->runJavaScript(
      QString::fromStdString(script), QWebEngineScript::MainWorld,
      [context = QPointer<QObject>(&_context), completion = std::move(completion)](const QVariant& value) {
        if (context) completion(jsonOf(value));
      });
}

bool Page::ask(WebPanel::Kind kind, const QString& text, const QString& defaultText, QString* result) {
  struct Answer {
    QPointer<QEventLoop> loop;
    bool isConfirmed = false;
    std::optional<std::string> text;
  };
  QEventLoop loop;
  const auto answer = std::make_shared<Answer>(Answer{&loop, false, {}});
  const QPointer<QObject> context(&_context);
  _dialogs.emplace_back(&loop);
  WebPanel panel;
  panel.kind = kind;
  panel.message = text.toStdString();
  panel.defaultText = defaultText.toStdString();
  panel.answer = [answer](bool isConfirmed, const std::optional<std::string>& given) {
    if (!answer->loop) return;
    answer->isConfirmed = isConfirmed;
    answer->text = given;
    // Queued, because the answer may come before the loop runs.
    QMetaObject::invokeMethod(answer->loop, &QEventLoop::quit, Qt::QueuedConnection);
  };
  _client.pageAsks(std::move(panel));
  if (!context) return false;
  const bool isClosed = loop.exec() != 0;
  if (isClosed || !context) return false;
  std::erase_if(_dialogs, [&](const auto& each) { return each.isNull() || each == &loop; });
  if (result && answer->text) *result = QString::fromStdString(*answer->text);
  return answer->isConfirmed;
}

/// Detects that the user continues to scroll upwards at the top of the page.
void Page::scrolled(int delta) {
  constexpr int fourNotches = 480;
  _pulled = delta > 0 ? _pulled + delta : 0;
  if (_pulled < fourNotches) return;
  _pulled = 0;
  if (_page->scrollPosition().y() <= 0) _client.pagePulledDown();
}

}  // namespace oq::qt

extern "C" __attribute__((visibility("default"))) oq::qt::WidgetPage* oqsdk_open_web_page(
    const char* folder, const oq::WebPageSettings& settings, oq::WebPageClient& client,
    std::function<void()> contentArrived) {
  return new oq::qt::Page(folder, settings, client, std::move(contentArrived));
}

extern "C" __attribute__((visibility("default"))) bool oqsdk_remove_web_data() {
  return oq::qt::removeStoredData();
}

extern "C" __attribute__((visibility("default"))) const char* oqsdk_web_module_version() {
  return OQSDK_WEB_MODULE_VERSION;
}
