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

/// Invisible widgets that represent painted views, because GTK exposes only widgets to assistive technology: a dialog
/// around its elements, labels, and buttons that can be focused and pressed. They are children of the surface, which
/// allocates them but does not paint them; they ignore the pointer. Main thread only.
class AccessibilityProxies {
 public:
  /// `widget` is the parent of the proxies, and shows `views`. `pages` are its web pages. They must outlive this
  /// object.
  AccessibilityProxies(GtkWidget* widget, HostSurface& views, const NativeChildren& pages);
  ~AccessibilityProxies();
  AccessibilityProxies(const AccessibilityProxies&) = delete;
  AccessibilityProxies& operator=(const AccessibilityProxies&) = delete;

  /// Synchronizes the proxies with the tree of elements. While a dialog is shown it has the keyboard focus (its page
  /// first, if it has one), and the widgets that it covers cannot get it.
  void update();
  /// Moves each proxy to the position of its element.
  void allocate();
  /// The next update moves the focus into the dialog if `isShown`.
  void dialogChanged(bool isShown) { _takesFocus = isShown; }
  /// The focused widget; nullptr if it is one of the proxies.
  HostFocus hostFocus() const;
  void restoreFocus(const HostFocus& former);
  /// True if a dialog is shown and the keyboard focus is not in one of its pages.
  bool hasKeyboard() const;
  bool hasDialog() const { return _dialog.widget != nullptr; }
  /// Moves the keyboard focus from a page to the first or last element of the dialog.
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
  /// True if the widget is inside one of the surface's pages.
  bool isInPage(GtkWidget* widget) const;
  /// The page inside the dialog; nullptr if there is none.
  GtkWidget* pageOfDialog() const;
  bool isInDialog(GtkWidget* widget) const;
  /// True for a widget of the host below the surface.
  bool isCovered(GtkWidget* widget) const;
  void focusDialog();
  void takeFocusBack();
  void place(const Proxy& proxy, const AccessibleTree& tree, CGPoint origin) const;

  gint64 _lastTakeBack = 0;  ///< g_get_monotonic_time() of the last takeFocusBack()
  int _takeBacks = 0;        ///< the number of calls less than a second apart

  GtkWidget* const _surface;
  HostSurface& _views;
  const NativeChildren& _pages;
  Proxy _dialog;
  std::map<std::uint64_t, Proxy> _elements;
  bool _takesFocus = false;
  bool _changed = false;  ///< a proxy needs a new allocation
};

}  // namespace oq::gtk
