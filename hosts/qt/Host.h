// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QtCore/QMetaObject>
#include <QtCore/QTimer>
#include <memory>

#include "Host/HostInstallation.h"
#include "Host/SurfaceHost.h"
#include "WebPages.h"
#include "oqsdk/Export.h"
#include "oqsdk/qt/AttachOptions.h"

namespace oq::qt {

/// The host of Qt windows. It runs the library's main queue from Qt's event loop, whichever event dispatcher Qt uses,
/// so it needs no GLib in Qt. It exists from the first window until the application object and the surfaces are
/// destroyed. Main thread only.
class OQSDK_EXPORT Host : public SurfaceHost {
 public:
  /// Checks that windows can be attached now, and applies the options that concern the process; only those of the first
  /// call count. Returns nullptr, and writes a warning, if there is no QGuiApplication, or if this is another thread
  /// than the application object's. `caller` begins the warning.
  static std::shared_ptr<Host> prepare(const AttachOptions& options, const char* caller);

  Host();
  ~Host() override;

  /// Follows the style's setting for animations. To be called when the style may have changed.
  void updateAnimations();
  /// To be called for a window that cannot show web pages: from now on they open in the system's browser.
  void forbidWebPages();

 private:
  void pumpLater();
  void pumpNow();
  void stop();

  QObject _context;  ///< receives the wakes; destroyed with the host
  QTimer _timer;
  QMetaObject::Connection _applicationEnd;
  WebPages _webPages;
  const HostInstallation _installation{*this, &_webPages};  ///< declared last: it makes this host callable
};

}  // namespace oq::qt
