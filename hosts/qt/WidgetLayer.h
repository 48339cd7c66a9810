// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QtWidgets/QWidget>
#include <memory>

#include "Layer.h"
#include "Surface.h"
#include "WebViews.h"

namespace oq::qt {

class Host;

/// The layer in a window of Qt Widgets: a child above the window's other children. The window owns it.
class WidgetLayer : public QWidget, public Layer {
  // With a class name of its own, the layer gets no background from a style sheet for QWidget.
  Q_OBJECT

 public:
  WidgetLayer(QWidget& window, std::shared_ptr<Host> host, double maximumScale);
  ~WidgetLayer() override;

  /// Whether the window has a layer.
  static bool isIn(const QWidget& window);

 protected:
  void paintEvent(QPaintEvent* event) override;
  bool event(QEvent* event) override;
  bool eventFilter(QObject* object, QEvent* event) override;

 private:
  // Layer
  void setShown(bool isShown) override;
  void frameWanted() override { _surface.renderLater(); }
  void imageChanged(const QRect& damage) override;
  bool hasPopup() const override;
  bool isNativeAt(const QPointF& point) const override { return _webViews->isAt(point.toPoint()); }
  bool hasNativeFocus() const override { return _webViews->hasFocus(); }
  std::shared_ptr<WebViews> webViews() override { return _webViews; }
  QObject* focus() const override;
  void takeFocus() override;
  void restoreFocus(QObject& object) override;
  void dropFocus() override;
  QObject& accessibleObject() override { return *this; }

  void follow();
  void activateAgain();
  bool isOnTop() const;
  void stayOnTop();

  Surface _surface;
  std::shared_ptr<WebViews> _webViews = std::make_shared<WebViews>(*this, _surface.surface());
};

}  // namespace oq::qt
