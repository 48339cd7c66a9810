// SPDX-License-Identifier: Apache-2.0
#include "MessageLayer.h"

#include <QtQuick/QQuickRenderControl>
#include <QtQuick/QQuickWindow>
#include <algorithm>
#include <vector>

#include "oqsdk/qt/QuickHost.h"

namespace {

/// The existing layers, in the order of their creation.
std::vector<MessageLayer*>& layers() {
  static auto& all = *new std::vector<MessageLayer*>;
  return all;
}

MessageLayer* lastLayer() {
  return layers().empty() ? nullptr : layers().back();
}

OqsdkMessage messageFrom(const oq::Message& message) {
  OqsdkMessage result;
  result.campaign = QString::fromStdString(message.campaignId);
  result.event = QString::fromStdString(message.event);
  result.style = message.style;
  return result;
}

template <class Signal>
std::function<void(const oq::Message&)> emitting(Signal signal) {
  return [signal](const oq::Message& message) {
    if (MessageLayer* layer = lastLayer()) (layer->*signal)(messageFrom(message));
  };
}

bool handleLink(const oq::Message& message, const std::string& url) {
  MessageLayer* layer = lastLayer();
  if (!layer) return false;
  OqsdkLink link(messageFrom(message), QString::fromStdString(url));
  layer->link(&link);
  return link.isAccepted();
}

void listen() {
  oq::MessageHandlers handlers;
  handlers.shown = emitting(&MessageLayer::shown);
  handlers.shownWithoutPicture = emitting(&MessageLayer::shownWithoutPicture);
  handlers.closed = emitting(&MessageLayer::closed);
  handlers.removed = emitting(&MessageLayer::removed);
  handlers.clicked = [](const oq::Message& message, oq::MessageAction part) {
    if (MessageLayer* layer = lastLayer()) layer->clicked(messageFrom(message), static_cast<int>(part));
  };
  handlers.link = handleLink;
  oq::Messages::setHandlers(std::move(handlers));
}

}  // namespace

void OqsdkLink::setAccepted(bool accepted) {
  if (accepted == _isAccepted) return;
  _isAccepted = accepted;
  acceptedChanged();
}

MessageLayer::MessageLayer(QQuickItem* parent) : QQuickItem(parent) {
  layers().push_back(this);
  if (layers().size() == 1) listen();
}

MessageLayer::~MessageLayer() {
  std::erase(layers(), this);
  if (layers().empty()) oq::Messages::setHandlers({});
}

void MessageLayer::setHeld(bool held) {
  if (held == isHeld()) return;
  held ? oq::Messages::hold() : oq::Messages::resume();
  for (MessageLayer* layer : layers()) layer->heldChanged();
}

void MessageLayer::setMaximumScale(double scale) {
  if (scale == _maximumScale) return;
  _maximumScale = scale;
  maximumScaleChanged();
}

void MessageLayer::componentComplete() {
  QQuickItem::componentComplete();
  attachWhenShown();
}

void MessageLayer::itemChange(ItemChange change, const ItemChangeData& data) {
  QQuickItem::itemChange(change, data);
  if (change == ItemSceneChange && isComponentComplete()) attachWhenShown();
}

/// The window of a QQuickWidget never becomes visible. The window of Qt Widgets that draws it is known when the widget
/// is laid out or first drawn.
void MessageLayer::attachWhenShown() {
  for (const auto& connection : _awaitsWindow) disconnect(connection);
  _awaitsWindow.clear();
  QQuickWindow* target = window();
  if (!target) return;
  if (!target->isVisible() && !QQuickRenderControl::renderWindowFor(target)) {
    _awaitsWindow = {connect(target, &QWindow::visibleChanged, this, [this] { attachWhenShown(); }),
                     connect(target, &QWindow::widthChanged, this, [this] { attachWhenShown(); }),
                     connect(target, &QQuickWindow::sceneGraphInitialized, this, [this] { attachWhenShown(); })};
    return;
  }
  oq::qt::AttachOptions options;
  options.maximumScale = _maximumScale;
  oq::qt::attach(target, options);
}
