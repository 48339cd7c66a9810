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

/// The widgets that show views of a surface's window: web pages. Each widget is laid out where its view will be after
/// all animations, so that an animation of the view does not lay out the widget in every frame. The widget is painted
/// when its view is painted, at the animated position, so views above the page cover it. Main thread only.
class NativeChildren {
 public:
  explicit NativeChildren(GtkWidget* surface) : _surface(surface) {}
  ~NativeChildren() { clear(); }
  NativeChildren(const NativeChildren&) = delete;
  NativeChildren& operator=(const NativeChildren&) = delete;

  /// Makes the widget a child of the surface; has no effect if the view has a widget already. Call remove() before the
  /// view is destroyed. `zoom` is called with the scale at which the widget must show its content, before the first
  /// layout and whenever the scale has changed.
  void add(UIView& view, GtkWidget* widget, std::function<void(double scale)> zoom);
  void remove(UIView& view);
  void clear();
  bool isEmpty() const { return _children.empty(); }
  /// Whether a widget shows the view; GTK then sends the input to that widget.
  bool has(const UIView* view) const { return find(view) != nullptr; }
  /// The widget of a shown view that is a descendant of `view`; nullptr if there is none.
  GtkWidget* widgetIn(const UIView& view) const;

  /// Whether a view has moved, or the scale has changed, since allocate(). Check this before queueing an allocation:
  /// it makes GTK lay out the whole window, with several round trips to the X server.
  bool areOutdated(const Stage& stage) const;
  /// Allocates each widget at the position of its view, and hides it if the view is not shown.
  void allocate(const Stage& stage);
  /// Paints the view's widget into a snapshot that uses the view's coordinates. `bounds` are the view's bounds, aligned
  /// to whole pixels; the widget is clipped to them.
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
