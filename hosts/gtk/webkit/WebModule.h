// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtk/gtk.h>

#include "WebKit/WebEngine.h"

/// The interface between the GTK host and the module with the web engine. The module does not link the library, and the
/// host does not link the engine. They share only these types and the names of the functions below, which the host
/// looks up in the module.
namespace oq::gtk {

/// A page that a widget shows.
class WidgetPage : public WebPage {
 public:
  /// Owned by the page. Code that gives the widget a parent must unparent it before the page is destroyed.
  virtual GtkWidget* widget() const = 0;
  /// Widget points per point of the page.
  virtual void setZoom(double zoom) = 0;
  void viewMoved(UIView&) override {}
};

/// "oqsdk_open_web_page": the caller deletes the page; the client must outlive it. Pages and cookies are stored in the
/// folder that the first call of a process passes.
using OpenWebPage = WidgetPage* (*)(const char* folder, const WebPageSettings& settings, WebPageClient& client);
/// "oqsdk_prepare_web_pages": each call does one step of the first page's initialization, which takes about as long as
/// a frame. Pass the same folder in all calls. Returns whether a step is left.
using PrepareWebPages = bool (*)(const char* folder);
/// "oqsdk_remove_web_data": removes what pages have stored. Returns false if the engine has not used the folder yet;
/// then the caller can remove the folder.
using RemoveWebData = bool (*)();
/// "oqsdk_web_module_version": the version of the library that the module belongs to.
using WebModuleVersion = const char* (*)();

}  // namespace oq::gtk
