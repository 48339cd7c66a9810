// SPDX-License-Identifier: Apache-2.0
#include <QtGui/QDragEnterEvent>
#include <QtGui/QGuiApplication>
#include <QtGui/QMouseEvent>
#include <QtGui/QPointingDevice>
#include <QtGui/QTabletEvent>
#include <QtGui/QTouchEvent>
#include <QtGui/QWheelEvent>
#include <utility>

#include "Foundation/Values/Format.h"
#include "Surface.h"

namespace oq::qt {

namespace {

/// Points scrolled by one degree of a wheel; one notch has 15 degrees. QWheelEvent counts eighths of a degree.
constexpr double kWheelDegree = 4;
constexpr Qt::KeyboardModifiers kShortcutModifiers = Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier;

std::optional<KeyboardKey> keyFor(const QKeyEvent& event) {
  const auto modifiers = event.modifiers() & kShortcutModifiers;
  if (event.key() == Qt::Key_Left && modifiers == Qt::AltModifier) return KeyboardKey::Back;
  if (modifiers) return std::nullopt;
  switch (event.key()) {
    case Qt::Key_Back:
      return KeyboardKey::Back;
    case Qt::Key_Tab:
      return event.modifiers() & Qt::ShiftModifier ? KeyboardKey::BackTab : KeyboardKey::Tab;
    case Qt::Key_Backtab:
      return KeyboardKey::BackTab;
    case Qt::Key_Return:
    case Qt::Key_Enter:
    case Qt::Key_Space:
    case Qt::Key_Select:
      return KeyboardKey::Return;
    case Qt::Key_Escape:
      return KeyboardKey::Escape;
    case Qt::Key_Up:
      return KeyboardKey::Up;
    case Qt::Key_Down:
      return KeyboardKey::Down;
    case Qt::Key_PageUp:
      return KeyboardKey::PageUp;
    case Qt::Key_PageDown:
      return KeyboardKey::PageDown;
    case Qt::Key_Home:
      return KeyboardKey::Home;
    case Qt::Key_End:
      return KeyboardKey::End;
    default:
      return std::nullopt;
  }
}

/// Whether a dialog keeps the key from the application. Combinations that contain Control, Alt or Meta stay its
/// shortcuts; without them a key, such as a letter or F5, would act on the content below the dialog.
bool isForDialog(const QKeyEvent& event) {
  return keyFor(event) || !(event.modifiers() & kShortcutModifiers);
}

bool leavesPage(std::optional<KeyboardKey> key) {
  return key == KeyboardKey::Escape || key == KeyboardKey::Back;
}

/// Identifies a key while it is down. The key code of a key may change with a modifier.
int identifierOf(const QKeyEvent& event) {
  return event.nativeScanCode() ? static_cast<int>(event.nativeScanCode()) : event.key();
}

}  // namespace

bool Surface::eventFilter(QObject* object, QEvent* event) {
  if (event == _sent || !object->isWindowType()) return false;
  // An exception must not unwind through Qt's event loop.
  try {
    if (object == _qwindow) windowChanged(*event);
    return _qwindow && handle(static_cast<QWindow&>(*object), *event);
  } catch (const std::exception& failure) {
    platformLog(failure.what());
    return true;
  }
}

/// Afterwards the surface may be destroyed.
bool Surface::handle(QWindow& window, QEvent& event) {
  switch (event.type()) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonDblClick: {
      auto& mouse = static_cast<QMouseEvent&>(event);
      // For the second press of a double click, both events are sent.
      if (event.type() == QEvent::MouseButtonDblClick && (_ourButtons & mouse.button())) return true;
      return handlePress(inTopLevel(window, mouse.position()), mouse.button(), mouse.buttons());
    }
    case QEvent::MouseMove: {
      auto& mouse = static_cast<QMouseEvent&>(event);
      return handleMove(window, inTopLevel(window, mouse.position()), mouse.buttons());
    }
    case QEvent::MouseButtonRelease: {
      auto& mouse = static_cast<QMouseEvent&>(event);
      return handleRelease(inTopLevel(window, mouse.position()), mouse.button());
    }
    case QEvent::Enter: {
      _pointer = inTopLevel(window, static_cast<QEnterEvent&>(event).position());
      _pointerIsOurs = false;
      return !followPointer() || _pointerIsOurs;
    }
    case QEvent::Leave:
      _pointer.reset();
      _pointerIsOurs = false;
      _surface.pointerMoved(std::nullopt);
      return false;
    case QEvent::TabletPress:
    case QEvent::TabletMove:
    case QEvent::TabletRelease:
      return handlePen(window, event);
    case QEvent::TouchBegin:
    case QEvent::TouchUpdate:
    case QEvent::TouchEnd:
    case QEvent::TouchCancel:
      return handleTouch(window, static_cast<QTouchEvent&>(event));
    case QEvent::Wheel:
      return handleWheel(window, static_cast<QWheelEvent&>(event));
    case QEvent::NativeGesture:
      return isOurs(inTopLevel(window, static_cast<QNativeGestureEvent&>(event).position()));
    case QEvent::ContextMenu:
      return _surface.hasDialog() && !_layer.hasNativeFocus();
    case QEvent::DragEnter:
    case QEvent::DragMove:
    case QEvent::DragLeave:
    case QEvent::Drop:
      return handleDrag(window, event);
    case QEvent::ShortcutOverride:
      return handleShortcut(static_cast<QKeyEvent&>(event));
    case QEvent::KeyPress:
      return handleKey(static_cast<QKeyEvent&>(event));
    case QEvent::KeyRelease:
      return handleKeyRelease(static_cast<QKeyEvent&>(event));
    default:
      return false;
  }
}

CGPoint Surface::inTopLevel(const QWindow& window, const QPointF& point) const {
  QPointF result = point;
  for (const QWindow* each = &window; each && each != _qwindow; each = each->parent()) result += each->position();
  return {result.x(), result.y()};
}

/// Whether input that begins at the point is ours: a view of the library is there, and neither a popup of the
/// application nor a web page gets it.
bool Surface::isOurs(CGPoint point) const {
  return _isShown && _surface.covers(point) && !_layer.hasPopup() && !_layer.isNativeAt({point.x, point.y});
}

bool Surface::handlePress(CGPoint point, Qt::MouseButton button, Qt::MouseButtons buttons) {
  _pointer = point;
  _surface.noteUse();
  // The application has the pointer until it is released.
  if (buttons & ~(_ourButtons | button)) return false;
  if (!_ourButtons && !isOurs(point)) return false;
  // Other buttons over a view of ours do nothing, and must not reach the application below either.
  _ourButtons |= button;
  if (button == Qt::LeftButton && followPointer()) _surface.touchBegan(pointerTouch, point);
  return true;
}

bool Surface::handleMove(QWindow&, CGPoint point, Qt::MouseButtons buttons) {
  _pointer = point;
  // A button that is not down any more was released without an event, for example because of a grab.
  _ourButtons &= buttons;
  if (_surface.hasTouch(pointerTouch)) {
    if (buttons & Qt::LeftButton) return _surface.touchMoved(pointerTouch, point);
    return _surface.touchCancelled(pointerTouch);
  }
  if (_ourButtons) return true;
  if (buttons) return false;
  return !followPointer() || _pointerIsOurs;
}

bool Surface::handleRelease(CGPoint point, Qt::MouseButton button) {
  _pointer = point;
  if (!(_ourButtons & button)) {
    // A message may have opened while the application had the pointer.
    if (_surface.hasDialog()) _surface.changeLater();
    return false;
  }
  _ourButtons &= ~Qt::MouseButtons(button);
  if (button != Qt::LeftButton) return true;
  const QPointer<Surface> alive(this);
  _surface.touchEnded(pointerTouch, point);
  if (alive) followPointer();
  return true;
}

/// To be called when the pointer has moved, or when the views under a resting pointer may have changed.
bool Surface::followPointer() {
  if (!_pointer || !_qwindow || _surface.hasTouches()) return true;
  if (!_ourButtons && QGuiApplication::mouseButtons()) return true;
  if (!isOurs(*_pointer)) return givePointerBack();
  if (!takePointer()) return false;
  if (!_pointer || !_qwindow) return true;
  const auto shape = _surface.pointerMoved(_pointer) ? Qt::PointingHandCursor : Qt::ArrowCursor;
  if (_qwindow->cursor().shape() != shape) _qwindow->setCursor(shape);
  return true;
}

/// The application's handler may run an event loop, in which all other events are handled as usual.
bool Surface::send(QWindow& window, QEvent& event) {
  const QPointer<Surface> alive(this);
  const QEvent* before = std::exchange(_sent, &event);
  QCoreApplication::sendEvent(&window, &event);
  if (!alive) return false;
  _sent = before;
  return true;
}

/// Ends the hover effects of the application's widgets below the message.
bool Surface::takePointer() {
  if (std::exchange(_pointerIsOurs, true)) return true;
  QEvent left(QEvent::Leave);
  return send(*_qwindow, left);
}

/// Lets the widget below the pointer set its cursor and hover effects again.
bool Surface::givePointerBack() {
  if (!std::exchange(_pointerIsOurs, false)) return true;
  _surface.pointerMoved(std::nullopt);
  _qwindow->unsetCursor();
  const QPointF point(_pointer->x, _pointer->y);
  QEnterEvent entered(point, point, _qwindow->mapToGlobal(point));
  return send(*_qwindow, entered);
}

/// Pens are handled like the mouse, except that the application can also use them without mouse events. The tip is the
/// left button. A pen's other buttons do nothing over a view of ours.
bool Surface::handlePen(QWindow& window, QEvent& event) {
  const auto& pen = static_cast<QTabletEvent&>(event);
  const CGPoint point = inTopLevel(window, pen.position());
  const bool isTip = pen.button() == Qt::LeftButton;
  if (event.type() == QEvent::TabletPress) {
    if (!isOurs(point)) return false;
    _surface.noteUse();
    event.accept();
    return !isTip || _surface.touchBegan(penTouch, point);
  }
  if (!_surface.hasTouch(penTouch)) return event.type() == QEvent::TabletRelease && !isTip && isOurs(point);
  event.accept();
  if (event.type() == QEvent::TabletRelease && !isTip) return true;
  return event.type() == QEvent::TabletMove ? _surface.touchMoved(penTouch, point)
                                            : _surface.touchEnded(penTouch, point);
}

/// The fingers that are down at the same time all belong to the party to which the first one belongs, because Qt
/// reports them in one event.
bool Surface::handleTouch(QWindow& window, QTouchEvent& event) {
  if (event.device() && event.device()->type() == QInputDevice::DeviceType::TouchPad) return false;
  if (event.type() == QEvent::TouchCancel) {
    const bool wereOurs = std::exchange(_touchesAreOurs, false);
    if (wereOurs) _surface.cancelAllTouches();
    return wereOurs;
  }
  const auto points = event.points();
  if (event.type() == QEvent::TouchBegin) {
    _surface.noteUse();
    _touchesAreOurs = !points.isEmpty() && isOurs(inTopLevel(window, points.first().position()));
  }
  if (!_touchesAreOurs) return false;
  if (event.type() == QEvent::TouchEnd) _touchesAreOurs = false;
  // Otherwise Qt would also make mouse events of the touches.
  event.accept();
  const QPointer<Surface> alive(this);
  for (const QEventPoint& each : points) {
    const std::int64_t finger = each.id() + penTouch + 1;
    const CGPoint point = inTopLevel(window, each.position());
    if (each.state() == QEventPoint::Pressed) _surface.touchBegan(finger, point);
    if (each.state() == QEventPoint::Updated) _surface.touchMoved(finger, point);
    if (each.state() == QEventPoint::Released) _surface.touchEnded(finger, point);
    if (!alive) break;
  }
  return true;
}

bool Surface::handleWheel(QWindow& window, QWheelEvent& event) {
  const CGPoint point = inTopLevel(window, event.position());
  if (!isOurs(point)) return false;
  event.accept();
  const QPointF notches = QPointF(event.angleDelta()) / 8 * kWheelDegree;
  const QPointF delta = event.pixelDelta().isNull() ? notches : QPointF(event.pixelDelta());
  const double time = static_cast<double>(event.timestamp()) / 1e3;
  switch (event.phase()) {
    case Qt::ScrollBegin:
    case Qt::ScrollUpdate:
      return _surface.scrollByTouchpad(point, -delta.x(), -delta.y(), time);
    case Qt::ScrollEnd:
      return _surface.touchpadReleased(point, time);
    default:
      return _surface.scroll(point, -delta.x(), -delta.y());
  }
}

/// A message refuses what is dragged over it.
bool Surface::handleDrag(QWindow& window, QEvent& event) {
  if (event.type() == QEvent::DragLeave) return std::exchange(_dragIsOurs, false);
  auto& drop = static_cast<QDropEvent&>(event);
  const bool wasOurs = std::exchange(_dragIsOurs, isOurs(inTopLevel(window, drop.position())));
  if (!_dragIsOurs) return false;
  if (!wasOurs && event.type() != QEvent::DragEnter) {
    // The message has opened during the drag.
    QDragLeaveEvent left;
    if (!send(window, left)) return true;
  }
  drop.setDropAction(Qt::IgnoreAction);
  drop.ignore();
  if (event.type() == QEvent::Drop) _dragIsOurs = false;
  return true;
}

/// Qt asks with this event whether the key is handled before the shortcuts.
bool Surface::handleShortcut(QKeyEvent& event) {
  if (!_surface.hasDialog() || _layer.hasPopup() || !isForDialog(event)) return false;
  if (_layer.hasNativeFocus() && !leavesPage(keyFor(event))) return false;
  event.accept();
  return true;
}

bool Surface::handleKey(QKeyEvent& event) {
  const int identifier = identifierOf(event);
  // A key that is still down after it has closed the dialog must not act on the application.
  if (event.isAutoRepeat() && !_surface.hasDialog()) return _ourKeys.contains(identifier);
  if (!_surface.hasDialog() || _layer.hasPopup() || !isForDialog(event)) return false;
  const auto key = keyFor(event);
  if (_layer.hasNativeFocus() && !leavesPage(key)) return false;
  // A key that the application got first must not press a button of a dialog that has just opened.
  if (event.isAutoRepeat() && !_ourKeys.contains(identifier)) return true;
  _ourKeys.insert(identifier);
  if (key) _surface.press(*key);
  return true;
}

bool Surface::handleKeyRelease(QKeyEvent& event) {
  const int identifier = identifierOf(event);
  if (event.isAutoRepeat()) return _ourKeys.contains(identifier);
  return _ourKeys.erase(identifier) > 0;
}

}  // namespace oq::qt
