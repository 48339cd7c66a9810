// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QtWidgets/QWidget>
#include <functional>

#include "WebKit/WebEngine.h"

/// The interface between the Qt host and the module with the web engine. The module does not link the library, and the
/// host does not link the engine. They share only these types and the names of the functions below, which the host
/// looks up in the module.
namespace oq::qt {

/// A page that a widget shows.
class WidgetPage : public WebPage {
 public:
  /// Owned by the page. Hidden and without a parent at first. nullptr after the application object was destroyed.
  virtual QWidget* widget() const = 0;
  /// Points of the widget per point of the page.
  virtual void setZoom(double zoom) = 0;
  /// False until the page's first document has arrived; before that, the widget should not be shown.
  virtual bool hasContent() const = 0;
  void viewMoved(UIView&) override {}
};

/// "oqsdk_open_web_page": the caller deletes the page; the client must outlive it. Pages and cookies are stored in the
/// folder that the first call of a process passes. `contentArrived` is called when hasContent() becomes true.
using OpenWebPage = WidgetPage* (*)(const char* folder, const WebPageSettings& settings, WebPageClient& client,
                                    std::function<void()> contentArrived);
/// "oqsdk_remove_web_data": removes what pages have stored; a part of it only when the application ends. Returns false
/// if the engine has not used the folder yet; then the caller can remove the folder.
using RemoveWebData = bool (*)();
/// "oqsdk_web_module_version": the version of the library that the module belongs to.
using WebModuleVersion = const char* (*)();

}  // namespace oq::qt
