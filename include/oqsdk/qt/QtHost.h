// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>

#include "oqsdk/Export.h"
#include "oqsdk/ShownPage.h"
#include "oqsdk/qt/AttachOptions.h"

class QStackedWidget;
class QTabWidget;
class QWidget;

namespace oq::qt {

/// Lets the library show messages in a window of Qt Widgets: a main window, a dialog or any other window. Call it once
/// for each window, on the main thread, after the QApplication was created, and the first time before
/// TorvelinOqManager::startWithConfig(). Later calls use only `maximumScale` of the options. For a widget inside a
/// window, its window is attached. The window gets a transparent child above its other children; input outside the
/// library's views reaches the application as before. The attachment ends when the window is destroyed.
///
/// Returns false, and writes a warning with qWarning(), if `window` is nullptr, if there is no application object, or
/// on another thread. A window that is attached already stays as it is; the result is then true.
OQSDK_EXPORT bool attach(QWidget* window, const AttachOptions& options = {});

/// Makes the class names of pages if collectPages() gets no other function.
using oq::pageClassName;

/// Returns the class name of a page. `name` is the application's name for the page. Return "" for a widget that is not
/// a page.
using PageNames = std::function<std::string(const std::string& name)>;

/// Reports the visible widget of a stack as a page: for the library, a view controller appears with the widget and
/// disappears with it. Its class has the name that `names` returns, and is registered when it is first needed. `names`
/// gets the widget's objectName(), or its windowTitle() if it has no objectName(). If the returned name already belongs
/// to another class of the program, the page is ignored. Call this function once, after
/// TorvelinOqManager::startWithConfig(), on the main thread. It has an effect until the stack is destroyed. Returns
/// false, and writes a warning, under the same conditions as attach().
OQSDK_EXPORT bool collectPages(QStackedWidget* stack, PageNames names = pageClassName);

/// Does the same for tabs. `names` gets the objectName() of the tab's widget, or the text of the tab, without its "&",
/// if the widget has no objectName().
OQSDK_EXPORT bool collectPages(QTabWidget* tabs, PageNames names = pageClassName);

/// Reports a page that is not a widget of a stack or a tab.
using oq::ShownPage;

}  // namespace oq::qt
