// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>

#include "oqsdk/Export.h"
#include "oqsdk/ShownPage.h"
#include "oqsdk/qt/AttachOptions.h"

class QQuickItem;
class QQuickWindow;

namespace oq::qt {

/// Lets the library show messages in a window of Qt Quick. Call it once for each window, on the main thread, after the
/// application object was created, and the first time before TorvelinOqManager::startWithConfig(). Later calls use only
/// `maximumScale` of the options. The window gets a transparent item above its other items, but below popups of Qt
/// Quick Controls; input outside the library's views reaches the application as before. The attachment ends when the
/// window is destroyed.
///
/// The window of a QQuickWidget is drawn by a window of Qt Widgets, so that window is attached. It must exist already,
/// which is so after QWidget::show() or QWidget::winId().
///
/// Returns false, and writes a warning with qWarning(), if `window` is nullptr, if there is no application object, on
/// another thread, or if the window is drawn by a QQuickRenderControl into something other than a window of Qt Widgets.
/// A window that is attached already stays as it is; the result is then true.
OQSDK_EXPORT bool attach(QQuickWindow* window, const AttachOptions& options = {});

/// Makes the class name of a page. `name` is the application's name for the page. Return "" for an item that is not a
/// page.
using PageNames = std::function<std::string(const std::string& name)>;

/// Reports the current item of a StackView, a SwipeView or another item with the property `currentItem` as a page: for
/// the library, a view controller appears with the item and disappears with it. Its class has the name that `names`
/// returns, and is registered when it is first needed. `names` gets the item's `objectName`, or else the name of its
/// QML file without ".qml"; it gets "" for an item that has neither. If the returned name already belongs to another
/// class of the program, the page is ignored. Call this function once, after TorvelinOqManager::startWithConfig(), on
/// the main thread. It has an effect until `view` is destroyed. Returns false, and writes a warning, if `view` is
/// nullptr or has no such property, or on another thread.
OQSDK_EXPORT bool collectPages(QQuickItem* view, PageNames names = pageClassName);

}  // namespace oq::qt
