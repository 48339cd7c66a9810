#pragma once

#include <gtk/gtk.h>

#include <functional>

namespace oq::gtk {

/// The surface covers the content of a window, not what the host has put into its title bar. While a dialog is on
/// screen the guard keeps presses and scrolling from that, too. The window's own buttons work, and the bar moves the
/// window. Main thread only.
class TitleBarGuard {
 public:
  /// Asks `hasDialog` at each press. The guard ends before the window.
  TitleBarGuard(GtkWindow* window, std::function<bool()> hasDialog);
  ~TitleBarGuard();
  TitleBarGuard(const TitleBarGuard&) = delete;
  TitleBarGuard& operator=(const TitleBarGuard&) = delete;

 private:
  static gboolean handleEvent(GtkEventControllerLegacy*, GdkEvent* event, gpointer self);
  bool isHeldBack(GdkEvent* event);

  GtkWindow* const _window;
  const std::function<bool()> _hasDialog;
  GtkEventController* const _events;
  double _x = 0, _y = 0;  ///< where the pointer was last seen, in the window's surface
};

}  // namespace oq::gtk
