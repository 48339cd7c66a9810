// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtGui/QAccessible>
#include <QtGui/QImage>
#include <QtGui/QWindow>
#include <memory>
#include <optional>
#include <set>

#include "Host/HostSurface.h"
#include "Layer.h"
#include "oqsdk/Export.h"

class QInputEvent;
class QKeyEvent;
class QTouchEvent;
class QWheelEvent;

namespace oq::qt {

class AccessibleElementObjects;
class Host;

/// The library's layer in one window, as far as it is the same for widgets and Qt Quick: pixels, input and focus.
/// Input is taken from the QWindow and its child windows before any widget or item gets it. Main thread only.
class OQSDK_EXPORT Surface : public QObject, public HostSurface::Client, private QAccessible::ActivationObserver {
 public:
  /// `layer` must outlive the surface. The constructor calls no function of the layer.
  Surface(std::shared_ptr<Host> host, Layer& layer, double maximumScale);
  ~Surface() override;

  Host& host() const { return *_host; }
  Layer& layer() const { return _layer; }
  HostSurface& surface() { return _surface; }

  /// The QWindow whose input the surface gets; nullptr while there is none. A window that is destroyed is forgotten.
  void setWindow(QWindow* window);
  QWindow* window() const { return _qwindow; }
  /// The size of the window, in points. The number of pixels per point is that of the QWindow.
  void setSize(const QSizeF& size);

  /// Paints what has changed since the last call into image(), and calls Layer::imageChanged() if something has. Has no
  /// effect while the layer is hidden or the window is not exposed.
  void render();
  /// Calls render() from the event loop.
  void renderLater();
  /// The pixels to draw at the upper left corner of the window, one for each pixel of the window; null while the layer
  /// is hidden.
  const QImage& image() const { return _image; }
  /// The number of pixels of image() per point.
  double imageScale() const { return _imageScale; }

  /// To be called when an object of the application, or a native part of the layer, has got the keyboard focus of this
  /// window. While a dialog is shown, an application's object has to return the focus to the layer.
  void focusMoved(QObject* object);

  /// The accessible object of the layer; nullptr if the object is not Layer::accessibleObject() of a surface.
  static QAccessibleInterface* accessibleFor(QObject* object);

 protected:
  bool eventFilter(QObject* object, QEvent* event) override;

 private:
  static constexpr std::int64_t pointerTouch = 0;  ///< the mouse; fingers have other numbers
  static constexpr std::int64_t penTouch = 1;

  // HostSurface::Client
  void frameWanted() override;
  void dialogChanged(bool isShown) override;
  HostFocus hostFocus() override;
  void restoreFocus(const HostFocus& focus) override;
  bool wantsElements() const override { return QAccessible::isActive(); }
  void elementsChanged(const AccessibleTree& tree) override;
  void viewsChanged() override;
  void accessibilityActiveChanged(bool) override { _surface.changeLater(); }

  // The window.
  void watch(QWindow& window);
  void windowChanged(QEvent& event);
  void updateVisibility();
  void updateScale();

  // Input.
  bool handle(QWindow& window, QEvent& event);
  bool handlePress(CGPoint point, Qt::MouseButton button, Qt::MouseButtons others);
  bool handleMove(QWindow& window, CGPoint point, Qt::MouseButtons buttons);
  bool handleRelease(CGPoint point, Qt::MouseButton button);
  bool handlePen(QWindow& window, QEvent& event);
  bool handleTouch(QWindow& window, QTouchEvent& event);
  bool handleWheel(QWindow& window, QWheelEvent& event);
  bool handleDrag(QWindow& window, QEvent& event);
  bool handleShortcut(QKeyEvent& event);
  bool handleKey(QKeyEvent& event);
  bool handleKeyRelease(QKeyEvent& event);
  bool isOurs(CGPoint point) const;
  CGPoint inTopLevel(const QWindow& window, const QPointF& point) const;
  // Each of these returns false if the surface was destroyed by the application's handler of an event that was sent.
  bool takePointer();
  bool givePointerBack();
  bool followPointer();
  bool send(QWindow& window, QEvent& event);

  std::shared_ptr<Host> _host;
  Layer& _layer;
  HostSurface _surface;
  QPointer<QWindow> _qwindow;
  QSizeF _size;
  QImage _image;
  double _imageScale = 1;
  bool _isShown = false;
  bool _isRenderQueued = false;
  bool _isFrameMissed = false;    ///< a frame was requested while the window was not exposed
  const QEvent* _sent = nullptr;  ///< the event that the surface itself sends to the window, and does not take
  int _refocusings = 0;           ///< how often the focus was taken back from the application during this dialog
  // The pointer.
  std::optional<CGPoint> _pointer;  ///< its last known position
  bool _pointerIsOurs = false;      ///< the application was notified that the pointer has left it
  Qt::MouseButtons _ourButtons;     ///< pressed over a view of the library
  bool _touchesAreOurs = false;     ///< the running touches began over a view of the library
  bool _dragIsOurs = false;         ///< the last position of a drag was over a view of the library
  std::set<int> _ourKeys;           ///< keys that are down and whose press the library consumed
  std::unique_ptr<AccessibleElementObjects> _elements;
};

}  // namespace oq::qt
