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

/// Widgets without looks that stand for painted views, since GTK tells assistive technology of widgets only:
/// a dialog around its parts, texts, and buttons that can be focused and pressed. They are children of the
/// surface, which gives them their place and paints none of them; the pointer goes through them. Main thread
/// only.
class AccessibilityProxies {
 public:
  /// `pages`: the widgets that the surface shows otherwise; they outlive this.
  AccessibilityProxies(GtkWidget* surface, std::shared_ptr<UIWindow> window, const NativeChildren& pages);
  ~AccessibilityProxies();
  AccessibilityProxies(const AccessibilityProxies&) = delete;
  AccessibilityProxies& operator=(const AccessibilityProxies&) = delete;

  /// Makes them those of what the window shows now. While a dialog is on screen it has the keyboard's focus, first
  /// the page in it if there is one, and what it covers has not; when it has gone, the focus returns to where it was.
  void update();
  /// Gives each the place of its view in the surface.
  void allocate(const Stage& stage);
  /// A dialog is on screen, and the keyboard is its own: not in something that the surface shows otherwise.
  bool hasKeyboard() const;
  bool hasDialog() const { return _dialog.widget != nullptr; }
  /// The keyboard's focus, from whatever the surface shows otherwise, to the first or the last of the
  /// dialog's parts.
  bool takeFocus(bool first);
  /// Takes all away; for a surface that goes.
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
  void describe(AccessibilityProxy& standIn, const UIView& view);
  void describeDialog(const std::vector<std::shared_ptr<UIView>>& elements);
  void remove(AccessibilityProxy& standIn);
  void followFocus();
  GtkWidget* focus() const;
  bool isOurs(GtkWidget* widget) const;
  /// In something that the surface shows otherwise.
  bool isInPage(GtkWidget* widget) const;
  /// The page that the dialog shows, nullptr without one.
  GtkWidget* pageOfDialog() const;
  bool isInDialog(GtkWidget* widget) const;
  /// Something of the host's that lies below the surface.
  bool isCovered(GtkWidget* widget) const;
  void focusDialog();
  void takeFocusBack();
  void returnFocus(const FocusMemory::Place& place);
  void place(const AccessibilityProxy& standIn, CGPoint origin, double scale) const;

  gint64 _lastTakeBack = 0;  ///< in microseconds
  int _takeBacks = 0;        ///< in quick succession

  GtkWidget* const _surface;
  const std::shared_ptr<UIWindow> _window;
  AccessibilityProxy _dialog;
  std::string _description;
  std::map<const UIView*, AccessibilityProxy> _elements;
  const NativeChildren& _pages;
  FocusMemory _focusMemory;
  bool _changed = false;  ///< something has to be given another place
};

}  // namespace oq::gtk
