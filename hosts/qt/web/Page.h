// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QtCore/QPointer>
#include <QtWebEngineCore/QWebEngineLoadingInfo>
#include <QtWebEngineCore/QWebEnginePage>
#include <QtWebEngineWidgets/QWebEngineView>
#include <memory>
#include <string>
#include <vector>

#include "WebModule.h"

class QEventLoop;

namespace oq::qt {

class Page;

/// Receives what the scripts of a page post.
class Mailbox : public QObject {
  Q_OBJECT

 public:
  explicit Mailbox(Page& page) : _page(page) {}
  Q_INVOKABLE void post(const QString& handler, const QString& json);

 private:
  Page& _page;
};

/// The engine's page. What it asks its subclass, it passes on to the Page, unless that is destroyed.
class EnginePage : public QWebEnginePage {
  Q_OBJECT

 public:
  EnginePage(QWebEngineProfile& profile, Page& page) : QWebEnginePage(&profile), _page(&page) {}
  void detach() { _page = nullptr; }

 protected:
  bool acceptNavigationRequest(const QUrl& url, NavigationType type, bool isMainFrame) override;
  QWebEnginePage* createWindow(WebWindowType) override { return nullptr; }
  QStringList chooseFiles(FileSelectionMode, const QStringList&, const QStringList&) override { return {}; }
  void javaScriptAlert(const QUrl& origin, const QString& text) override;
  bool javaScriptConfirm(const QUrl& origin, const QString& text) override;
  bool javaScriptPrompt(const QUrl& origin, const QString& text, const QString& defaultText, QString* result) override;
  void javaScriptConsoleMessage(JavaScriptConsoleMessageLevel, const QString&, int, const QString&) override {}

 private:
  Page* _page;
};

/// A page in a view of Qt WebEngine. Main thread only.
class Page : public WidgetPage {
 public:
  Page(const char* folder, const WebPageSettings& settings, WebPageClient& client,
       std::function<void()> contentArrived);
  ~Page() override;
  Page(const Page&) = delete;
  Page& operator=(const Page&) = delete;

  QWidget* widget() const override { return _view; }
  void setZoom(double zoom) override;
  bool hasContent() const override { return _hasContent; }
  void load(const std::string& url) override;
  void reload() override;
  void stopLoading() override;
  std::string url() const override { return _url; }
  bool canGoBack() const override;
  void goBack() override;
  void evaluate(const std::string& script,
                std::function<void(const std::optional<std::string>& json)> completion) override;

  void posted(const QString& handler, const QString& json);
  /// Shows the dialog and waits for its answer in an event loop. Returns false if the page closes first.
  bool ask(WebPanel::Kind kind, const QString& text, const QString& defaultText, QString* result);

 private:
  class WheelWatch;
  void addScripts(const WebPageSettings& settings);
  void connectLoad();
  void connectLimits();
  void loadingChanged(const QWebEngineLoadingInfo& info);
  void committed();
  void scrolled(int delta);

  WebPageClient& _client;
  const std::function<void()> _contentArrived;
  // Both are destroyed with the application object, if this page still exists then.
  const QPointer<QWebEngineView> _view;
  const QPointer<EnginePage> _page;  ///< owned by the view
  QObject _context;                  ///< the receiver of all connections
  Mailbox _mailbox{*this};
  std::unique_ptr<WheelWatch> _wheel;
  std::vector<QPointer<QEventLoop>> _dialogs;  ///< loops that wait for an answer
  std::string _url;                            ///< shown or being loaded
  bool _hasContent = false;
  bool _isCommitted = false;  ///< the current load has a document
  bool _hasCrashed = false;
  double _zoom = 1;
  int _pulled = 0;
};

}  // namespace oq::qt
