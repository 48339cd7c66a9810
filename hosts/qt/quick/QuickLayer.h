// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QtGui/QRegion>
#include <QtQuick/QQuickItem>
#include <QtQuick/QQuickWindow>
#include <memory>
#include <vector>

#include "qt/Layer.h"
#include "qt/Surface.h"

namespace oq::qt {

class Host;

/// The layer in a window of Qt Quick: an item above the window's other items, and below the popups of Qt Quick
/// Controls. The window owns it. Main thread only, except updatePaintNode().
class QuickLayer : public QQuickItem, public Layer {
  // With a class name of its own, the item gets the accessible object of the surface, and not one of Qt Quick.
  Q_OBJECT

 public:
  QuickLayer(QQuickWindow& window, std::shared_ptr<Host> host, double maximumScale);
  ~QuickLayer() override;

  /// Whether the window has a layer.
  static bool isIn(const QQuickWindow& window);

 protected:
  void updatePolish() override { _surface.render(); }
  QSGNode* updatePaintNode(QSGNode* old, UpdatePaintNodeData* data) override;

 private:
  // Layer
  void setShown(bool isShown) override;
  void frameWanted() override { polish(); }
  void imageChanged(const QRect& damage) override;
  bool hasPopup() const override;
  bool isNativeAt(const QPointF& point) const override;
  QObject* focus() const override;
  void takeFocus() override;
  void restoreFocus(QObject& object) override;
  void dropFocus() override;
  QObject& accessibleObject() override { return *this; }

  void follow();
  void makeAccessible();
  void focusMoved();
  Q_SLOT void popupClosed();
  std::vector<QQuickItem*> popups() const;

  QQuickWindow& _host;  ///< the window; QQuickItem::window() is empty while the window is destroyed
  Surface _surface;
  QRegion _damage;  ///< in points: what the next frame must upload
};

}  // namespace oq::qt
