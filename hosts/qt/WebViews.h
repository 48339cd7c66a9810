// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QtCore/QPointer>
#include <QtCore/QTimer>
#include <QtWidgets/QWidget>
#include <functional>
#include <memory>
#include <vector>

#include "Host/HostSurface.h"

namespace oq {
class UIView;
}

namespace oq::qt {

/// The widgets that show views of a surface's window: web pages. They are children of the window, above the layer, so
/// each one leaves out what views of the library cover. A widget is at the final position of its view, and hidden while
/// views are animated. Main thread only.
class WebViews {
 public:
  WebViews(QWidget& layer, HostSurface& surface);
  ~WebViews();
  WebViews(const WebViews&) = delete;
  WebViews& operator=(const WebViews&) = delete;

  /// Call remove() before the view or the widget is destroyed. `zoom` is called with the scale at which the widget must
  /// show its content; `isReady` returns whether it has one.
  void add(UIView& view, QWidget& widget, std::function<void(double)> zoom, std::function<bool()> isReady);
  void remove(UIView& view);

  /// To be called when views, the window's size or the widgets' contents have changed.
  void update();
  /// To be called after the layer was raised.
  void raise();
  /// Whether the widget is one of these or inside one.
  bool contains(const QWidget* widget) const;
  /// Whether a widget gets the input at this point of the window.
  bool isAt(const QPoint& point) const;
  /// Whether a widget that is shown has the keyboard focus.
  bool hasFocus() const;

 private:
  struct Entry {
    UIView* view;
    QPointer<QWidget> widget;
    std::function<void(double)> zoom;
    std::function<bool()> isReady;
    double scale = 0;       ///< the last value passed to zoom
    bool wasShown = false;  ///< the widget has appeared before
  };
  void place(Entry& entry);
  void show(Entry& entry, const QRect& frame, const QRegion& visible);

  QWidget& _layer;
  HostSurface& _surface;
  QTimer _animation;  ///< runs while an animation delays a widget
  std::vector<std::unique_ptr<Entry>> _entries;
};

}  // namespace oq::qt
