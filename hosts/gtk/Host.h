// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtk/gtk.h>

#include <memory>

#include "Host/HostInstallation.h"
#include "Host/SurfaceHost.h"
#include "WebPages.h"

namespace oq::gtk {

class Surface;

/// The host of GTK windows, with web pages. Owned jointly by the surfaces; it installs itself as the application's host
/// and is destroyed with the last surface. Its clock is GLib's monotonic one, which GTK's frame times use as well. Main
/// thread only.
class Host : public SurfaceHost {
 public:
  /// Returns the current host; creates one if there is none.
  static std::shared_ptr<Host> shared();
  Host();
  ~Host() override;

  /// The surface that shows the window; nullptr if there is none.
  Surface* surfaceOf(const UIWindow& window) const;

 private:
  static void animationsSet(GObject* settings, GParamSpec*, gpointer self);
  void watchSettings();

  WebPages _webPages;
  GtkSettings* _settings = nullptr;
  gulong _animationsHandler = 0;
  const HostInstallation _installation{*this, &_webPages};  ///< declared last: it makes this host callable
};

}  // namespace oq::gtk
