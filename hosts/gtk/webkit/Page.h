// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <webkit/webkit.h>

#include <memory>
#include <string>
#include <vector>

#include "HiddenScrollBar.h"
#include "WebModule.h"

namespace oq::gtk {

/// A page in a web view of WebKitGTK. Main thread only.
class Page : public WidgetPage {
 public:
  Page(const char* folder, const WebPageSettings& settings, WebPageClient& client);
  ~Page() override;
  Page(const Page&) = delete;
  Page& operator=(const Page&) = delete;

  GtkWidget* widget() const override { return GTK_WIDGET(_view); }
  void setZoom(double zoom) override { webkit_web_view_set_zoom_level(_view, zoom); }
  void load(const std::string& url) override;
  void reload() override;
  void stopLoading() override;
  std::string url() const override;
  bool canGoBack() const override;
  void goBack() override;
  void evaluate(const std::string& script,
                std::function<void(const std::optional<std::string>& json)> completion) override;

 private:
  struct Handler;
  using Dialog = std::shared_ptr<WebKitScriptDialog>;

  void addContent(const WebPageSettings& settings);
  void connectLoad();
  void connectLimits();
  void connectPulls();
  void loadChanged(WebKitLoadEvent event);
  bool loadFailed(WebKitLoadEvent event, const char* address, const GError& error);
  bool certificateRefused(const char* address, GTlsCertificate* certificate);
  void retryWhenAllowed(const std::string& url);
  bool decide(WebKitPolicyDecision* decision, WebKitPolicyDecisionType type);
  bool decideResponse(WebKitResponsePolicyDecision* decision);
  bool showDialog(WebKitScriptDialog* dialog);
  void scrolled(double dy);

  WebPageClient& _client;
  WebKitWebView* const _view;
  WebKitUserContentManager* const _content;  ///< owned by the view
  HiddenScrollBar _scrollBar;
  GCancellable* _gone = g_cancellable_new();
  std::vector<std::unique_ptr<Handler>> _handlers;
  std::vector<Dialog> _dialogs;  ///< open dialogs, for whose answers scripts wait
  std::string _allowed;          ///< the address whose certificate was allowed for the current load
  std::string _retried;          ///< the address that is loaded again without a report to the client
  std::string _shown;            ///< the address to load after a crash
  bool _failed = false;          ///< the current load has failed
  int _cancellations = 0;        ///< how often the current load failed with G_IO_ERROR_CANCELLED
  bool _crashed = false;
  double _pulled = 0;
};

}  // namespace oq::gtk
