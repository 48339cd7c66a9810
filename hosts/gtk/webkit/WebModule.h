#pragma once

#include <gtk/gtk.h>

#include "WebKit/WebEngine.h"

/// Between the GTK host and the module that has the web engine in it. The module is linked with nothing of the library,
/// and the host with nothing of the engine: they share interfaces, and find each other by these names.
namespace oq::gtk {

/// A page that is shown by a widget.
class WidgetPage : public WebPage {
 public:
  /// Owned by the page. Whoever gives it a parent takes it away again before the page goes.
  virtual GtkWidget* widget() const = 0;
  /// The number of the widget's points per point of the page.
  virtual void setZoom(double zoom) = 0;
  void viewMoved(UIView&) override {}
};

/// "oqsdk_open_web_page": the caller deletes the page, and the client outlives it. Pages and cookies are kept below the
/// folder, of which the first call of a process decides.
using OpenWebPage = WidgetPage* (*)(const char* folder, const WebPageSettings& settings, WebPageClient& client);
/// "oqsdk_prepare_web_pages": each call does a part of what the first page of the process would do first, with the same
/// folder, and takes about a frame. Returns whether a part is left.
using PrepareWebPages = bool (*)(const char* folder);
/// "oqsdk_web_module_version": of the library that the module belongs to.
using WebModuleVersion = const char* (*)();

}  // namespace oq::gtk
