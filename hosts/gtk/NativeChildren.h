// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtk/gtk.h>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "CoreGraphics/Geometry.h"
#include "Host/NativePlace.h"

namespace oq {
class UIView;
}

namespace oq::gtk {

/// The widgets that show views of a surface's window: web pages. Each widget has the position and size of its view's
/// model, so that an animation of the view does not lay out the widget in every frame. It is painted in the order of
/// its view, clipped to the view's visible part. Main thread only.
class NativeChildren {
 public:
  explicit NativeChildren(GtkWidget* surface) : _surface(surface) {}
  ~NativeChildren() { clear(); }
  NativeChildren(const NativeChildren&) = delete;
  NativeChildren& operator=(const NativeChildren&) = delete;

  /// Makes the widget a child of the surface. The view must be removed before it is destroyed. `zoom` is called with
  /// the scale at which the widget must show its content, before the widget is laid out.
  void add(UIView& view, GtkWidget* widget, std::function<void(double scale)> zoom);
  void remove(UIView& view);
  void clear();
  bool isEmpty() const { return _children.empty(); }
  /// Whether a widget shows the view; GTK then sends the input to that widget.
  bool has(const UIView* view) const { return find(view) != nullptr; }
  /// The widget of a view inside this one; nullptr if there is none.
  GtkWidget* widgetIn(const UIView& view) const;

  /// Whether a view has moved since its widget was allocated. Check this first: an allocation makes GTK lay out the
  /// window, with several round trips to the X server.
  bool areOutdated(const Stage& stage) const;
  /// Allocates each widget at the position of its view.
  void allocate(const Stage& stage);
  /// Paints into a snapshot in the view's coordinates: `bounds` is the visible area, on whole pixels.
  void snapshot(GtkSnapshot* snapshot, UIView& view, CGRect bounds, double opacity);

 private:
  struct Child {
    UIView* view;
    GtkWidget* widget;
    std::function<void(double)> zoom;
    double scale = 0;             ///< the last value passed to zoom
    std::optional<CGRect> frame;  ///< of the last allocation, in the surface; nullopt: not shown
  };
  Child* find(const UIView* view) const;

  GtkWidget* _surface;
  std::vector<std::unique_ptr<Child>> _children;
};

}  // namespace oq::gtk
