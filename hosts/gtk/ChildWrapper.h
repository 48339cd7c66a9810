// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtk/gtk.h>

namespace oq::gtk {

/// Keeps the child of a window inside an overlay that also holds the library's surface, even if the host sets another
/// child. For libadwaita's windows it wraps the content. Owned by the window. Main thread only.
class ChildWrapper {
 public:
  /// Wraps the window's child, and each child that the host sets later. The window must not be wrapped yet; see
  /// isWrapped(). `surface` is shown above the child; the overlay takes ownership of it.
  static void wrap(GtkWindow* window, GtkWidget* surface);
  static bool isWrapped(GtkWindow* window);

  ~ChildWrapper();
  ChildWrapper(const ChildWrapper&) = delete;
  ChildWrapper& operator=(const ChildWrapper&) = delete;

 private:
  ChildWrapper(GtkWindow* window, GtkWidget* surface);
  static void childChanged(GObject*, GParamSpec*, gpointer self);
  GtkWidget* child() const;
  void adopt();
  void wrapLaterWhenEmpty();

  GtkWindow* _window;
  const char* const _property;
  GtkWidget* _overlay;
  bool _adopting = false;
  guint _pending = 0;
};

}  // namespace oq::gtk
