// SPDX-License-Identifier: Apache-2.0
#include "WidgetLayer.h"

#include <QtCore/QChildEvent>
#include <QtGui/QKeyEvent>
#include <QtGui/QPaintEvent>
#include <QtGui/QPainter>
#include <QtWidgets/QApplication>
#include <utility>

#include "Host.h"

namespace oq::qt {

WidgetLayer::WidgetLayer(QWidget& window, std::shared_ptr<Host> host, double maximumScale)
    : _surface(std::move(host), *this, maximumScale) {
  setObjectName("oqsdk-layer");
  setAttribute(Qt::WA_TransparentForMouseEvents);
  setAttribute(Qt::WA_NoSystemBackground);
  setFocusPolicy(Qt::NoFocus);
  hide();
  // First, because some windows, such as a QSplitter, would lay out a child that they notice.
  window.installEventFilter(this);
  setParent(&window);
  for (QObject* child : window.children()) {
    if (child != this && child->isWidgetType()) child->installEventFilter(this);
  }
  connect(qApp, &QApplication::focusChanged, this, [this](QWidget*, QWidget* now) {
    if (now && now != this && now->window() == parentWidget() && !hasNativeFocus()) _surface.focusMoved(now);
  });
  follow();
}

WidgetLayer::~WidgetLayer() {
  // The surface gets no more input while it is destroyed.
  _surface.setWindow(nullptr);
}

bool WidgetLayer::isIn(const QWidget& window) {
  return window.findChild<WidgetLayer*>(QString(), Qt::FindDirectChildrenOnly);
}

void WidgetLayer::follow() {
  QWidget* window = parentWidget();
  setGeometry(window->rect());
  _surface.setSize(window->size());
  // A window that becomes a part of another one shows no messages.
  _surface.setWindow(window->isWindow() ? window->windowHandle() : nullptr);
}

bool WidgetLayer::eventFilter(QObject* object, QEvent* event) {
  if (object != parentWidget()) {
    if (event->type() == QEvent::ZOrderChange) stayOnTop();
    return false;
  }
  switch (event->type()) {
    case QEvent::Resize:
    case QEvent::Show:
    case QEvent::WinIdChange:
      activateAgain();
      follow();
      return false;
    case QEvent::ParentChange:
    case QEvent::ScreenChangeInternal:
      follow();
      return false;
    case QEvent::ChildAdded:
    case QEvent::ChildPolished: {
      QObject* child = static_cast<QChildEvent*>(event)->child();
      if (child == this) return true;
      if (child->isWidgetType()) {
        child->removeEventFilter(this);
        child->installEventFilter(this);
        stayOnTop();
      }
      return false;
    }
    case QEvent::StyleChange:
      _surface.host().updateAnimations();
      return false;
    default:
      return false;
  }
}

/// For the first web page in a window, Qt creates the native window again, which would leave it without the keyboard.
void WidgetLayer::activateAgain() {
  if (!parentWidget()->isActiveWindow()) return;
  QMetaObject::invokeMethod(
      this,
      [this] {
        if (!QGuiApplication::focusWindow()) parentWidget()->activateWindow();
      },
      Qt::QueuedConnection);
}

/// Whether only web pages of the library are above the layer.
bool WidgetLayer::isOnTop() const {
  const QObjectList& children = parentWidget()->children();
  for (auto each = children.crbegin(); each != children.crend() && *each != this; ++each) {
    const auto* widget = qobject_cast<QWidget*>(*each);
    if (!widget || !_webViews->contains(widget)) return false;
  }
  return true;
}

/// Later, because the children are being changed.
void WidgetLayer::stayOnTop() {
  if (isHidden()) return;
  QMetaObject::invokeMethod(
      this,
      [this] {
        if (!isHidden()) setShown(true);
      },
      Qt::QueuedConnection);
}

bool WidgetLayer::event(QEvent* event) {
  // While the layer has the keyboard focus, keys that it does not use must not reach the window's key handlers.
  // Shortcuts with Control, Alt or Meta have been handled before.
  const bool isKey = event->type() == QEvent::KeyPress || event->type() == QEvent::KeyRelease;
  if (isKey &&
      !(static_cast<QKeyEvent*>(event)->modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier)))
    return true;
  return QWidget::event(event);
}

void WidgetLayer::paintEvent(QPaintEvent* event) {
  const QImage& image = _surface.image();
  if (image.isNull()) return;
  QPainter painter(this);
  painter.setClipRegion(event->region());
  // One pixel of the image is one pixel of the window. devicePixelRatioF() may already be that of another screen.
  const double scale = _surface.imageScale();
  painter.scale(1 / scale, 1 / scale);
  painter.drawImage(0, 0, image);
}

void WidgetLayer::setShown(bool isShown) {
  setVisible(isShown);
  if (isShown && !isOnTop()) {
    raise();
    _webViews->raise();
  }
  _webViews->update();
}

void WidgetLayer::imageChanged(const QRect& damage) {
  update(damage);
}

bool WidgetLayer::hasPopup() const {
  return QApplication::activePopupWidget() != nullptr;
}

QObject* WidgetLayer::focus() const {
  QWidget* widget = parentWidget()->focusWidget();
  return widget == this ? nullptr : widget;
}

/// With this reason, a text field keeps its selection when it loses the focus and when it gets the focus again.
void WidgetLayer::takeFocus() {
  // Qt focuses no hidden widget.
  setShown(true);
  if (hasNativeFocus()) return;
  setFocusPolicy(Qt::StrongFocus);
  setFocus(Qt::PopupFocusReason);
}

void WidgetLayer::restoreFocus(QObject& object) {
  auto* widget = qobject_cast<QWidget*>(&object);
  if (widget && !focus()) widget->setFocus(Qt::PopupFocusReason);
}

void WidgetLayer::dropFocus() {
  clearFocus();
  setFocusPolicy(Qt::NoFocus);
}

}  // namespace oq::qt
