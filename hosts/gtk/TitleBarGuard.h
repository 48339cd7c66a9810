// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtk/gtk.h>

#include <functional>

namespace oq::gtk {

/// The surface covers the content of a window, but not the host's widgets in its title bar. While a dialog is shown,
/// the guard blocks presses and scrolling on these widgets and dims the bar. The window's own buttons still work, and
/// the bar still moves the window. Main thread only.
class TitleBarGuard {
 public:
  /// `hasDialog` returns whether the window's surface shows a dialog. The guard must be destroyed before the window.
  TitleBarGuard(GtkWindow* window, std::function<bool()> hasDialog);
  ~TitleBarGuard();
  TitleBarGuard(const TitleBarGuard&) = delete;
  TitleBarGuard& operator=(const TitleBarGuard&) = delete;

  /// Call it when a dialog may have appeared or gone.
  void update();

 private:
  static gboolean handleEvent(GtkEventControllerLegacy*, GdkEvent* event, gpointer self);
  bool isHeldBack(GdkEvent* event);
  void setDimmed(GtkWidget* titleBar);

  GtkWindow* const _window;
  const std::function<bool()> _hasDialog;
  GtkEventController* const _events;
  GtkWidget* _dimmed = nullptr;  ///< the title bar while it is dimmed; a weak pointer
  double _x = 0, _y = 0;         ///< the last position of the pointer, in the window's surface
};

}  // namespace oq::gtk
