// SPDX-License-Identifier: Apache-2.0
#include "QuickLayer.h"

#include <QtQml/qqml.h>
#include <QtCore/QMetaMethod>
#include <QtQuick/QSGImageNode>
#include <algorithm>
#include <cmath>
#include <cstdint>

#include "qt/Host.h"

namespace oq::qt {

namespace {

/// Qt Quick Controls shows popups at 1000001.
constexpr double kBelowPopups = 1000000;
/// The image is uploaded in square tiles of this many pixels, so that a small change uploads little.
constexpr int kTile = 256;

bool isTransparent(const QImage& tile) {
  for (int y = 0; y < tile.height(); ++y) {
    const auto* row = reinterpret_cast<const std::uint32_t*>(tile.constScanLine(y));
    if (std::any_of(row, row + tile.width(), [](std::uint32_t pixel) { return pixel != 0; })) return false;
  }
  return true;
}

/// The tiles of an image of one size, in rows. A tile that is transparent has no node.
class TilesNode : public QSGNode {
 public:
  TilesNode(const QSize& pixels, double pixelsPerPoint)
      : size(pixels),
        scale(pixelsPerPoint),
        _columns((size.width() + kTile - 1) / kTile),
        _tiles(static_cast<std::size_t>(_columns) * static_cast<std::size_t>((size.height() + kTile - 1) / kTile)) {}

  /// `damage` is in points.
  void update(QQuickWindow& window, const QImage& image, const QRegion& damage) {
    for (std::size_t number = 0; number < _tiles.size(); ++number) {
      const int index = static_cast<int>(number);
      const QRect place = QRect(index % _columns * kTile, index / _columns * kTile, kTile, kTile) & image.rect();
      const QRectF inPoints(place.x() / scale, place.y() / scale, place.width() / scale, place.height() / scale);
      if (damage.intersects(inPoints.toAlignedRect())) updateTile(_tiles[number], window, image.copy(place), inPoints);
    }
  }

  const QSize size;
  const double scale;

 private:
  /// The tile is a copy of its pixels: the render thread may read them while the surface paints the next frame.
  void updateTile(QSGImageNode*& node, QQuickWindow& window, const QImage& tile, const QRectF& place) {
    if (isTransparent(tile)) {
      delete node;  // also removes it from this node
      node = nullptr;
      return;
    }
    QSGTexture* texture = window.createTextureFromImage(tile, QQuickWindow::TextureHasAlphaChannel);
    if (!texture) return;
    const bool isNew = !node;
    if (isNew) {
      node = window.createImageNode();
      node->setOwnsTexture(true);
      // One pixel of the image is one pixel of the window.
      node->setFiltering(QSGTexture::Nearest);
    }
    node->setTexture(texture);
    node->setRect(place);
    node->setSourceRect(QRectF(QPointF(), tile.size()));
    // Last, because the software renderer cannot handle a node without a texture.
    if (isNew) appendChildNode(node);
  }

  const int _columns;
  std::vector<QSGImageNode*> _tiles;  ///< children of this node
};

QQuickItem* overlayOf(const QQuickWindow& window) {
  const auto items = window.contentItem()->childItems();
  const auto found =
      std::find_if(items.begin(), items.end(), [](QQuickItem* item) { return item->inherits("QQuickOverlay"); });
  return found == items.end() ? nullptr : *found;
}

}  // namespace

QuickLayer::QuickLayer(QQuickWindow& window, std::shared_ptr<Host> host, double maximumScale)
    : QQuickItem(window.contentItem()), _host(window), _surface(std::move(host), *this, maximumScale) {
  setObjectName("oqsdk-layer");
  setFlag(ItemHasContents);
  setZ(kBelowPopups);
  setVisible(false);
  makeAccessible();
  connect(&window, &QWindow::widthChanged, this, [this] { follow(); });
  connect(&window, &QWindow::heightChanged, this, [this] { follow(); });
  connect(&window, &QQuickWindow::activeFocusItemChanged, this, [this] { focusMoved(); });
  follow();
  _surface.setWindow(&window);
}

QuickLayer::~QuickLayer() {
  disconnect(&_host, nullptr, this, nullptr);
  // The surface gets no more input while it is destroyed.
  _surface.setWindow(nullptr);
}

bool QuickLayer::isIn(const QQuickWindow& window) {
  return window.contentItem()->findChild<QuickLayer*>(QString(), Qt::FindDirectChildrenOnly);
}

void QuickLayer::follow() {
  setSize(_host.size());
  _surface.setSize(_host.size());
}

/// Qt Quick presents only items that have the attached object Accessible. Its class is private, so it is found by name.
void QuickLayer::makeAccessible() {
  const QMetaObject* accessible = QMetaType::fromName("QQuickAccessibleAttached*").metaObject();
  if (!accessible) return;
  qmlAttachedPropertiesObject(this, qmlAttachedPropertiesFunction(this, accessible));
}

QSGNode* QuickLayer::updatePaintNode(QSGNode* old, UpdatePaintNodeData*) {
  const QImage& image = _surface.image();
  const double scale = _surface.imageScale();
  auto* tiles = static_cast<TilesNode*>(old);
  if (image.isNull() || !tiles || tiles->size != image.size() || tiles->scale != scale) {
    delete tiles;
    tiles = nullptr;
    if (image.isNull()) return nullptr;
    tiles = new TilesNode(image.size(), scale);
    // One point more, because a part of a point at the edge has pixels, too.
    _damage = QRect(0, 0, static_cast<int>(width()) + 1, static_cast<int>(height()) + 1);
  }
  tiles->update(_host, image, _damage);
  _damage = {};
  return tiles;
}

void QuickLayer::setShown(bool isShown) {
  if (isVisible() == isShown) return;
  setVisible(isShown);
  update();
}

void QuickLayer::imageChanged(const QRect& damage) {
  _damage += damage;
  update();
}

/// The open popups that take input; a tool tip takes none.
std::vector<QQuickItem*> QuickLayer::popups() const {
  std::vector<QQuickItem*> open;
  const QQuickItem* overlay = overlayOf(_host);
  if (!overlay || !overlay->isVisible()) return open;
  for (QQuickItem* item : overlay->childItems()) {
    const QObject* popup = item->parent();
    const bool takesInput = popup && popup->inherits("QQuickPopup") && !popup->inherits("QQuickToolTip");
    if (takesInput && item->isVisible()) open.push_back(item);
  }
  return open;
}

/// A popup that has the focus, such as a menu, or that covers the window, such as a modal dialog, gets all input.
bool QuickLayer::hasPopup() const {
  const auto open = popups();
  return std::any_of(open.begin(), open.end(), [](const QQuickItem* item) {
    return item->parent()->property("modal").toBool() || item->parent()->property("activeFocus").toBool();
  });
}

/// Other popups get the input above them.
bool QuickLayer::isNativeAt(const QPointF& point) const {
  const auto open = popups();
  return std::any_of(open.begin(), open.end(),
                     [&](const QQuickItem* item) { return item->contains(item->mapFromScene(point)); });
}

QObject* QuickLayer::focus() const {
  QQuickItem* item = _host.activeFocusItem();
  // Without a focused item, the root item has the focus.
  return item == this || item == _host.contentItem() ? nullptr : item;
}

void QuickLayer::focusMoved() {
  if (hasActiveFocus() || !_surface.surface().hasDialog() || hasPopup()) return;
  if (QObject* item = focus()) return _surface.focusMoved(item);
  // A popup that closes may leave the focus nowhere.
  QMetaObject::invokeMethod(this, &QuickLayer::popupClosed, Qt::QueuedConnection);
}

void QuickLayer::popupClosed() {
  if (_surface.surface().hasDialog() && !hasActiveFocus()) takeFocus();
}

/// A popup keeps the focus until it closes.
void QuickLayer::takeFocus() {
  setShown(true);
  if (!hasPopup()) return forceActiveFocus(Qt::PopupFocusReason);
  for (QQuickItem* item : popups()) {
    const QMetaObject* own = metaObject();
    const QMetaObject* popup = item->parent()->metaObject();
    connect(item->parent(), popup->method(popup->indexOfSignal("closed()")), this,
            own->method(own->indexOfSlot("popupClosed()")), Qt::UniqueConnection);
  }
}

void QuickLayer::restoreFocus(QObject& object) {
  auto* item = qobject_cast<QQuickItem*>(&object);
  // An item of a popup that has closed is invisible.
  if (item && item->isVisible() && !focus()) item->forceActiveFocus(Qt::PopupFocusReason);
}

void QuickLayer::dropFocus() {
  setFocus(false, Qt::PopupFocusReason);
}

}  // namespace oq::qt
