// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QtCore/QObject>
#include <QtCore/QPointF>
#include <QtCore/QRect>
#include <memory>

#include "oqsdk/Export.h"

namespace oq::qt {

class WebViews;

/// The part of a surface that depends on the kind of window: a widget, or an item of Qt Quick. It covers the whole
/// window, lies above everything else in it, and ignores the mouse and touches. Positions are in points of the window.
/// Main thread only.
class OQSDK_EXPORT Layer {
 public:
  /// Shows the layer above everything else in the window, or hides it. Also called with true if the layer is shown
  /// already, because the application may have put something above it.
  virtual void setShown(bool isShown) = 0;
  /// Surface::render() should be called before the next frame. It may be called from the event loop, with
  /// Surface::renderLater().
  virtual void frameWanted() = 0;
  /// Called by Surface::render(): this part of Surface::image() has changed and must be drawn.
  virtual void imageChanged(const QRect& damage) = 0;

  /// Whether the application shows a popup, such as a menu, which gets the input before the layer.
  virtual bool hasPopup() const { return false; }
  /// Whether a native part of the layer, such as a web page, gets the input at this point.
  virtual bool isNativeAt(const QPointF& /*point*/) const { return false; }
  /// Shows web pages; nullptr if the layer shows none.
  virtual std::shared_ptr<WebViews> webViews() { return nullptr; }
  /// Whether a native part of the layer has the keyboard focus. The library then handles only Escape and Back.
  virtual bool hasNativeFocus() const { return false; }

  /// The widget or item of the application that has the keyboard focus in this window; a native part of the layer
  /// counts as one. nullptr if there is none, or if the layer has the focus.
  virtual QObject* focus() const = 0;
  /// A dialog has opened: the layer takes the keyboard focus within the window, so that the application's widget loses
  /// it. A focus that a native part of the layer has stays there.
  virtual void takeFocus() = 0;
  /// Gives the focus back to an object that focus() returned, unless the application has focused another one.
  virtual void restoreFocus(QObject& object) = 0;
  /// The last dialog has closed: a focus that the layer still has must not stay there.
  virtual void dropFocus() = 0;
  /// The object that contains the accessible elements.
  virtual QObject& accessibleObject() = 0;

 protected:
  ~Layer() = default;
};

}  // namespace oq::qt
