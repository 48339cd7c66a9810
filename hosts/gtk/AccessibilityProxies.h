// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtk/gtk.h>

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "Host/HostSurface.h"

namespace oq::gtk {

class NativeChildren;

/// Invisible widgets that represent painted views, because GTK exposes only widgets to assistive technology. An element
/// that takes input becomes a button, which can be focused and pressed; any other element becomes a label, a heading or
/// an image. While a dialog is shown, its proxy is the parent of the other proxies. All proxies are inside the surface,
/// which allocates but does not paint them. They ignore the pointer. Main thread only.
class AccessibilityProxies {
 public:
  /// `widget` is the surface's widget, which shows `views` and becomes the parent of the proxies. `pages` are the web
  /// pages in it. All three must outlive this object.
  AccessibilityProxies(GtkWidget* widget, HostSurface& views, const NativeChildren& pages);
  ~AccessibilityProxies();
  AccessibilityProxies(const AccessibilityProxies&) = delete;
  AccessibilityProxies& operator=(const AccessibilityProxies&) = delete;

  /// Makes the proxies match the tree of elements. While a dialog is shown, also keeps the keyboard focus in the dialog
  /// (in its web page, if it contains one) and takes the focus away from widgets that the dialog covers.
  void update();
  /// Moves each proxy to the position of its element.
  void allocate();
  /// Reports that a dialog has opened (`isShown`) or that the last one has closed. After an opening, the next update()
  /// moves the focus into the dialog.
  void dialogChanged(bool isShown) { _takesFocus = isShown; }
  /// The focused widget of the window, held weakly; nullptr if no widget is focused, or if the focused one is a proxy.
  HostFocus hostFocus() const;
  void restoreFocus(const HostFocus& former);
  /// True if a dialog is shown and the keyboard focus is not inside a web page.
  bool hasKeyboard() const;
  bool hasDialog() const { return _dialog.widget != nullptr; }
  /// Moves the keyboard focus from a web page to the dialog's first element, or to the last one if `first` is false.
  /// Returns whether the focus has moved; false if no dialog is shown.
  bool takeFocus(bool first);
  /// Removes all proxies; for a surface that is being destroyed.
  void clear();

 private:
  struct Proxy {
    GtkWidget* widget = nullptr;
    AccessibleElement element;
  };
  Proxy make(const AccessibleElement& element, GtkWidget* parent);
  static void clicked(GtkButton* button, gpointer self);
  static void entered(GtkEventControllerFocus* controller, gpointer self);
  static void left(GtkEventControllerFocus* controller, gpointer self);
  std::uint64_t elementOf(gpointer widget) const;
  GtkWidget* focusedProxy() const;
  void setDialog(const std::optional<AccessibleElement>& dialog);
  void setElements(const std::vector<AccessibleElement>& elements);
  void describe(Proxy& proxy, const AccessibleElement& element);
  void remove(Proxy& proxy);
  void followFocus();
  GtkWidget* focus() const;
  bool isOurs(GtkWidget* widget) const;
  /// True if the widget is inside a web page of the surface.
  bool isInPage(GtkWidget* widget) const;
  /// The widget of the web page inside the dialog; nullptr if there is none.
  GtkWidget* pageOfDialog() const;
  bool isInDialog(GtkWidget* widget) const;
  /// True for a widget of the host that lies below the surface or in the window's title bar.
  bool isCovered(GtkWidget* widget) const;
  void focusDialog();
  void takeFocusBack();
  void place(const Proxy& proxy, const AccessibleTree& tree, CGPoint origin) const;

  gint64 _lastTakeBack = 0;  ///< g_get_monotonic_time() of the last takeFocusBack()
  int _takeBacks = 0;        ///< calls of takeFocusBack(), each less than a second after the one before

  GtkWidget* const _surface;
  HostSurface& _views;
  const NativeChildren& _pages;
  Proxy _dialog;
  std::map<std::uint64_t, Proxy> _elements;
  bool _takesFocus = false;
  bool _changed = false;  ///< a proxy needs a new allocation
};

}  // namespace oq::gtk
