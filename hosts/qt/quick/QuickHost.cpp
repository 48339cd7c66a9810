// SPDX-License-Identifier: Apache-2.0
#include "oqsdk/qt/QuickHost.h"

#include <QtQuick/QQuickRenderControl>
#include <QtQuick/QQuickWindow>
#include <QtWidgets/QApplication>
#include <QtWidgets/QWidget>
#include <algorithm>

#include "QuickLayer.h"
#include "oqsdk/qt/QtHost.h"
#include "qt/Host.h"

namespace oq::qt {

namespace {

constexpr const char* kCaller = "oq::qt::attach()";

/// The window of Qt Widgets that the QWindow belongs to; nullptr if there is none.
QWidget* widgetOf(const QWindow* window) {
  if (!qobject_cast<QApplication*>(QCoreApplication::instance())) return nullptr;
  const auto widgets = QApplication::topLevelWidgets();
  const auto found =
      std::find_if(widgets.begin(), widgets.end(), [&](QWidget* each) { return each->windowHandle() == window; });
  return found == widgets.end() ? nullptr : *found;
}

}  // namespace

bool attach(QQuickWindow* window, const AttachOptions& options) {
  if (!window) {
    qWarning("%s: the window is nullptr", kCaller);
    return false;
  }
  auto host = Host::prepare(options, kCaller);
  if (!host) return false;
  if (QWindow* shown = QQuickRenderControl::renderWindowFor(window)) {
    if (QWidget* widget = widgetOf(shown)) return attach(widget, options);
    qWarning("%s: the window is drawn by a QQuickRenderControl; attach the window in which it is shown", kCaller);
    return false;
  }
  host->forbidWebPages();
  if (!QuickLayer::isIn(*window))
    new QuickLayer(*window, std::move(host), options.maximumScale);  // owned by the window
  return true;
}

}  // namespace oq::qt
