#pragma once

#include <gtk/gtk.h>

#include <limits>
#include <memory>
#include <optional>
#include <vector>

#include "Dispatch/DispatchQueue.h"
#include "UIKit/Windows/UIHost.h"
#include "WebPages.h"

namespace oq::gtk {

class Surface;

/// What the view layer sees of GTK: one clock, a frame for whoever asks, and a timer for ends that no frame
/// reaches. Surfaces share it and own it together; it installs itself as the application's host and goes with
/// the last of them. Main thread only.
class Host : public UIHost {
 public:
  /// The host that is in use, or a new one.
  static std::shared_ptr<Host> shared();
  Host();
  ~Host() override;
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  /// GLib's monotonic clock, which GTK's frame times are told in as well.
  double now() const override;
  void setNeedsFrame(UIWindow& window) override;
  void setDeadline(double deadline) override;
  void scenesChanged() override { updateScreen(); }

  /// A surface whose scene is connected.
  void add(Surface& surface);
  void remove(Surface& surface);
  /// The main screen is the stage where messages are shown: that of the first scene that is active, else of the first
  /// scene. To be called when one of them changes.
  void updateScreen();
  /// The one that shows the window; nullptr when none does.
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
  std::optional<double> _frameAwaitedSince;  ///< by a deadline that is over
  std::shared_ptr<DispatchTimer> _timer;
  std::shared_ptr<Host*> _self;  ///< the timer's way to the host, emptied when that ends
};

}  // namespace oq::gtk
