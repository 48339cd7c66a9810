#pragma once

#include <gtk/gtk.h>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "CoreGraphics/Geometry.h"
#include "Host/Stage.h"

namespace oq {
class UIView;
}

namespace oq::gtk {

/// The widgets that show views of a surface's window: web pages. Each lies where its view lies, as large as the view's
/// model, so that it is laid out once however its view comes on screen, and is painted at its view's place in the
/// order, clipped to what the view shows at that moment. Main thread only.
class NativeChildren {
 public:
  explicit NativeChildren(GtkWidget* surface) : _surface(surface) {}
  ~NativeChildren() { clear(); }
  NativeChildren(const NativeChildren&) = delete;
  NativeChildren& operator=(const NativeChildren&) = delete;

  /// The widget becomes a child of the surface. The view must be removed before it goes. `zoom` is called with the
  /// scale at which the widget shows its content, before it is laid out for that.
  void add(UIView& view, GtkWidget* widget, std::function<void(double scale)> zoom);
  void remove(UIView& view);
  void clear();
  bool isEmpty() const { return _children.empty(); }
  /// Whether the view is shown by a widget, which then gets its input from GTK.
  bool has(const UIView* view) const;
  /// The widget of a view that is shown inside this one; nullptr without one.
  GtkWidget* widgetIn(const UIView& view) const;

  /// Whether a view is no longer where its widget was allocated. Asked first, since an allocation makes GTK lay out the
  /// window, for which it asks the X server several times.
  bool areOutdated(const Stage& stage) const;
  /// Gives each the place of its view in the surface.
  void allocate(const Stage& stage);
  /// Into a snapshot in the view's coordinates: `bounds` are what it shows, on whole pixels.
  void snapshot(GtkSnapshot* snapshot, UIView& view, CGRect bounds, double opacity);

 private:
  struct Child {
    UIView* view;
    GtkWidget* widget;
    std::function<void(double)> zoom;
    double scale = 0;                    ///< the last one that zoom was called with
    CGPoint origin;                      ///< of the last allocation, in the surface
    std::optional<GtkAllocation> place;  ///< nullopt: not shown
  };
  Child* find(const UIView* view);

  GtkWidget* _surface;
  std::vector<std::unique_ptr<Child>> _children;
};

}  // namespace oq::gtk
