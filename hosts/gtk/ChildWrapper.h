#pragma once

#include <gtk/gtk.h>

namespace oq::gtk {

/// Keeps whatever child a window has inside an overlay that also holds the library's surface, however often
/// the host sets another one. Where the window is one of libadwaita's, its content is meant. The window owns
/// it. Main thread only.
class ChildWrapper {
 public:
  /// Wraps the window's child and goes on doing so; does nothing for a window that is wrapped already.
  /// `surface` is the widget to lie above the child; the overlay takes it.
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
