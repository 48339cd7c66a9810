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

/// The window that a QQuickWidget uses is known to be one only after it is shown: then another window draws it.
void MessageLayer::attachWhenShown() {
  disconnect(_awaitsWindow);
  QQuickWindow* target = window();
  if (!target) return;
  const bool isOffscreen = target->inherits("QQuickOffScreenWindow");
  if (isOffscreen && !QQuickRenderControl::renderWindowFor(target)) {
    _awaitsWindow = connect(target, &QWindow::visibleChanged, this, [this] { attachWhenShown(); });
    return;
  }
  oq::qt::AttachOptions options;
  options.maximumScale = _maximumScale;
  oq::qt::attach(target, options);
}
