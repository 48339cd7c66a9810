// SPDX-License-Identifier: Apache-2.0
#include "Surface.h"

#include <QtCore/QMetaObject>
#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "Accessibility.h"
#include "Host.h"

namespace oq::qt {

namespace {

/// How often the focus is taken back from the application during one dialog. An application may focus a widget again
/// whenever the widget loses the focus.
constexpr int kMostRefocusings = 8;

std::vector<Surface*>& allSurfaces() {
  static auto& surfaces = *new std::vector<Surface*>;
  return surfaces;
}

/// In points, rounded outwards. With a fraction of pixels per point, Qt rounds the edges of a painted area, so one more
/// point is added.
QRect inPoints(const PixelRect& pixels, double scale) {
  const int more = scale == std::floor(scale) ? 0 : 1;
  const int left = static_cast<int>(std::floor(pixels.x / scale)) - more;
  const int top = static_cast<int>(std::floor(pixels.y / scale)) - more;
  const int right = static_cast<int>(std::ceil((pixels.x + pixels.width) / scale)) + more;
  const int bottom = static_cast<int>(std::ceil((pixels.y + pixels.height) / scale)) + more;
  return {left, top, right - left, bottom - top};
}

}  // namespace

Surface::Surface(std::shared_ptr<Host> host, Layer& layer, double maximumScale)
    : _host(std::move(host)),
      _layer(layer),
      _surface(*_host, *this, {}, 1, maximumScale),
      _elements(std::make_unique<AccessibleElementObjects>(*this)) {
  allSurfaces().push_back(this);
  QAccessible::installActivationObserver(this);
  _surface.connect();
}

Surface::~Surface() {
  QAccessible::removeActivationObserver(this);
  std::erase(allSurfaces(), this);
  _surface.disconnect();
  _surface.cancelAllTouches();
}

void Surface::setWindow(QWindow* window) {
  if (_qwindow == window) return;
  if (_qwindow) {
    _qwindow->removeEventFilter(this);
    for (QWindow* child : _qwindow->findChildren<QWindow*>()) child->removeEventFilter(this);
    QObject::disconnect(_qwindow, nullptr, this, nullptr);
  }
  _qwindow = window;
  if (window) {
    watch(*window);
    QObject::connect(window, &QWindow::visibleChanged, this, [this] { updateVisibility(); });
    QObject::connect(window, &QWindow::windowStateChanged, this, [this] { updateVisibility(); });
    // Later, because the window gets the new screen's scale after this signal.
    QObject::connect(
        window, &QWindow::screenChanged, this, [this] { updateScale(); }, Qt::QueuedConnection);
    _surface.setFocused(window->isActive());
  }
  updateScale();
  updateVisibility();
}

/// Native widgets inside a window have windows of their own, which get the input before their widgets.
void Surface::watch(QWindow& window) {
  window.installEventFilter(this);
  for (QObject* child : window.children()) {
    if (auto* inner = qobject_cast<QWindow*>(child)) watch(*inner);
  }
}

void Surface::setSize(const QSizeF& size) {
  _size = size;
  updateScale();
}

void Surface::updateScale() {
  _surface.setSize({_size.width(), _size.height()}, _qwindow ? _qwindow->devicePixelRatio() : 1);
}

void Surface::updateVisibility() {
  const bool isMinimised = _qwindow && (_qwindow->windowStates() & Qt::WindowMinimized);
  const bool isVisible = _qwindow && _qwindow->isVisible() && _qwindow->isExposed() && !isMinimised;
  _surface.setVisible(isVisible);
  if (!isVisible) _surface.cancelAllTouches();
  if (isVisible && std::exchange(_isFrameMissed, false)) frameWanted();
}

void Surface::windowChanged(QEvent& event) {
  switch (event.type()) {
    case QEvent::Expose:
      updateScale();
      updateVisibility();
      break;
    case QEvent::FocusIn:
      _surface.setFocused(true);
      break;
    case QEvent::FocusOut:
      _ourKeys.clear();
      _surface.setFocused(false);
      break;
    case QEvent::ChildAdded:
      // Later, because the child is not yet constructed.
      QMetaObject::invokeMethod(
          this,
          [this, child = QPointer<QObject>(static_cast<QChildEvent&>(event).child())] {
            if (auto* inner = qobject_cast<QWindow*>(child.data())) watch(*inner);
          },
          Qt::QueuedConnection);
      break;
    default:
      break;
  }
}

void Surface::frameWanted() {
  _layer.frameWanted();
}

void Surface::renderLater() {
  if (std::exchange(_isRenderQueued, true)) return;
  QMetaObject::invokeMethod(
      this,
      [this] {
        _isRenderQueued = false;
        render();
      },
      Qt::QueuedConnection);
}

void Surface::render() {
  if (!_isShown) return;
  if (!_qwindow || !_qwindow->isExposed()) {
    _isFrameMissed = true;
    return;
  }
  updateScale();
  _imageScale = _qwindow->devicePixelRatio();
  const PixelRect size = _surface.pixelSize();
  const bool isKept = _image.size() == QSize(size.width, size.height);
  if (!isKept) _image = QImage(size.width, size.height, QImage::Format_ARGB32_Premultiplied);
  if (_image.isNull()) return;  // not enough memory
  PixelBuffer buffer;
  buffer.pixels = reinterpret_cast<std::uint32_t*>(_image.bits());
  buffer.width = size.width;
  buffer.height = size.height;
  buffer.stride = static_cast<int>(_image.bytesPerLine());
  buffer.holdsLastFrame = isKept;
  const PaintedFrame frame = _surface.paint(buffer, _host->now());
  if (!frame.damage.isEmpty()) _layer.imageChanged(inPoints(frame.damage, _imageScale));
}

void Surface::viewsChanged() {
  const bool wasShown = std::exchange(_isShown, !_surface.isEmpty());
  if (_isShown || wasShown) _layer.setShown(_isShown);
  if (_isShown && !wasShown) _layer.frameWanted();
  if (!_isShown) _image = QImage();
  followPointer();
}

void Surface::dialogChanged(bool isShown) {
  _refocusings = 0;
  if (isShown) {
    _layer.takeFocus();
  } else {
    _layer.dropFocus();
  }
}

HostFocus Surface::hostFocus() {
  QObject* object = _layer.focus();
  return object ? std::make_shared<QPointer<QObject>>(object) : nullptr;
}

void Surface::restoreFocus(const HostFocus& focus) {
  const auto& object = *std::static_pointer_cast<QPointer<QObject>>(focus);
  if (object) _layer.restoreFocus(*object);
}

void Surface::focusMoved(QObject* object) {
  if (!object || !_surface.hasDialog() || ++_refocusings > kMostRefocusings) return;
  _surface.noteHostFocus(std::make_shared<QPointer<QObject>>(object));
  // Later, because the application's object may not have finished getting the focus.
  QMetaObject::invokeMethod(
      this,
      [this] {
        if (_surface.hasDialog()) _layer.takeFocus();
      },
      Qt::QueuedConnection);
}

void Surface::elementsChanged(const AccessibleTree& tree) {
  _elements->update(tree);
}

QAccessibleInterface* Surface::accessibleFor(QObject* object) {
  const auto& surfaces = allSurfaces();
  const auto found = std::find_if(surfaces.begin(), surfaces.end(), [object](const Surface* surface) {
    return &surface->_layer.accessibleObject() == object;
  });
  return found == surfaces.end() ? nullptr : (*found)->_elements->makeLayer(*object);
}

}  // namespace oq::qt
