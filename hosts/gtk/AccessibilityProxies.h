// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtk/gtk.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "CoreGraphics/Geometry.h"
#include "FocusMemory.h"
#include "Host/Stage.h"

namespace oq {
class UIView;
class UIWindow;
}  // namespace oq

namespace oq::gtk {

class NativeChildren;

/// Invisible widgets that represent painted views, because GTK exposes only widgets to assistive technology: a dialog
/// around its elements, labels, and buttons that can be focused and pressed. They are children of the surface, which
/// allocates them but does not paint them; they ignore the pointer. Main thread only.
class AccessibilityProxies {
 public:
  /// `pages`: the surface's web pages; they must outlive this object.
  AccessibilityProxies(GtkWidget* surface, std::shared_ptr<UIWindow> window, const NativeChildren& pages);
  ~AccessibilityProxies();
  AccessibilityProxies(const AccessibilityProxies&) = delete;
  AccessibilityProxies& operator=(const AccessibilityProxies&) = delete;

  /// Synchronizes the proxies with the window's current views. While a dialog is shown it has the keyboard focus (its
  /// page first, if it has one), and the widgets that it covers cannot get it. When it has closed, the focus returns to
  /// its former widget.
  void update();
  /// Moves each proxy to the position of its view in the surface.
  void allocate(const Stage& stage);
  /// True if a dialog is shown and the keyboard focus is not in one of its pages.
  bool hasKeyboard() const;
  bool hasDialog() const { return _dialog.widget != nullptr; }
  /// Moves the keyboard focus from a page to the first or last element of the dialog.
  bool takeFocus(bool first);
  /// Removes all proxies; for a surface that is being destroyed.
  void clear();

 private:
  struct AccessibilityProxy {
    GtkWidget* widget = nullptr;
    std::weak_ptr<UIView> view;
    GtkAccessibleRole role = GTK_ACCESSIBLE_ROLE_GROUP;
    std::string name;
    CGRect frame;
  };
  static GtkWidget* make(GtkAccessibleRole role, bool focusable);
  static void clicked(GtkButton* button, gpointer self);
  static void entered(GtkEventControllerFocus* controller, gpointer self);
  static void left(GtkEventControllerFocus* controller, gpointer self);
  std::shared_ptr<UIView> viewOf(GtkWidget* widget) const;
  void setDialog(const std::shared_ptr<UIView>& view);
  void setElements(const std::vector<std::shared_ptr<UIView>>& elements);
  void describe(AccessibilityProxy& proxy, const UIView& view);
  void describeDialog(const std::vector<std::shared_ptr<UIView>>& elements);
  void remove(AccessibilityProxy& proxy);
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
  void returnFocus(const FocusMemory::Place& place);
  void place(const AccessibilityProxy& proxy, CGPoint origin, double scale) const;

  gint64 _lastTakeBack = 0;  ///< g_get_monotonic_time() of the last takeFocusBack()
  int _takeBacks = 0;        ///< the number of calls less than a second apart

  GtkWidget* const _surface;
  const std::shared_ptr<UIWindow> _window;
  AccessibilityProxy _dialog;
  std::string _description;
  std::map<const UIView*, AccessibilityProxy> _elements;
  const NativeChildren& _pages;
  FocusMemory _focusMemory;
  bool _changed = false;  ///< a proxy needs a new allocation
};

}  // namespace oq::gtk
