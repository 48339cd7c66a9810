// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtk/gtk.h>

#include <limits>
#include <memory>
#include <optional>
#include <vector>

#include "Dispatch/DispatchQueue.h"
#include "Host/HostInstallation.h"
#include "UIKit/Windows/UIHost.h"
#include "WebPages.h"

namespace oq::gtk {

class Surface;

/// Connects the view layer to GTK: a clock, frames on request, and a timer for deadlines without a frame. Owned jointly
/// by the surfaces; it installs itself as the application's host and is destroyed with the last surface. Main thread
/// only.
class Host : public UIHost {
 public:
  /// The current host, or a new one.
  static std::shared_ptr<Host> shared();
  Host();
  ~Host() override;
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  /// GLib's monotonic clock, which GTK's frame times use as well.
  double now() const override;
  void setNeedsFrame(UIWindow& window) override;
  void setDeadline(double deadline) override;
  void scenesChanged() override { updateScreen(); }

  /// Adds a surface whose scene is connected.
  void add(Surface& surface);
  void remove(Surface& surface);
  /// Sets the main screen to the stage where messages are shown: that of the first active scene, or else of the first
  /// scene. Call it when one of them changes.
  void updateScreen();
  /// The surface that shows the window; nullptr if there is none.
  Surface* surfaceOf(const UIWindow& window) const;

 private:
  static void animationsSet(GObject* settings, GParamSpec*, gpointer);
  void watchSettings();
  Surface* screenSurface() const;
  void arm();
  void deadlineReached();
  bool awaitFrame(double time);

  WebPages _webPages;
  std::vector<Surface*> _surfaces;
  GtkSettings* _settings = nullptr;
  gulong _animationsHandler = 0;
  double _deadline = std::numeric_limits<double>::infinity();
  std::optional<double> _frameAwaitedSince;  ///< the time of a deadline that waits for a frame
  std::shared_ptr<DispatchTimer> _timer;
  std::shared_ptr<Host*> _self;  ///< how the timer finds the host; emptied when the host is destroyed
  const HostInstallation _installation{*this, _webPages};  ///< last: it may call the host
};

}  // namespace oq::gtk
