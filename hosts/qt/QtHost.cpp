// SPDX-License-Identifier: Apache-2.0
#include "oqsdk/qt/QtHost.h"

#include <QtWidgets/QWidget>

#include "Host.h"
#include "WidgetLayer.h"

namespace oq::qt {

bool attach(QWidget* window, const AttachOptions& options) {
  constexpr const char* caller = "oq::qt::attach()";
  if (!window) {
    qWarning("%s: the window is nullptr", caller);
    return false;
  }
  auto host = Host::prepare(options, caller);
  if (!host) return false;
  QWidget& whole = *window->window();
  if (!WidgetLayer::isIn(whole)) new WidgetLayer(whole, std::move(host), options.maximumScale);  // the window owns it
  return true;
}

}  // namespace oq::qt
