// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QtCore/QMetaObject>
#include <QtQuick/QQuickItem>
#include <vector>

#include "oqsdk/Messages.h"

/// A message, as the signals describe it. QML cannot create one.
class OqsdkMessage {
  Q_GADGET
  QML_ANONYMOUS
  Q_PROPERTY(QString campaign MEMBER campaign CONSTANT)
  Q_PROPERTY(QString event MEMBER event CONSTANT)
  Q_PROPERTY(int style MEMBER style CONSTANT)

 public:
  QString campaign;
  QString event;
  int style = 0;
};

/// A clicked link. It is valid until the signal handler returns.
class OqsdkLink : public QObject {
  Q_OBJECT
  QML_ANONYMOUS
  Q_PROPERTY(OqsdkMessage message READ message CONSTANT)
  Q_PROPERTY(QString url READ url CONSTANT)
  /// Set to true if the application has handled the link. Otherwise the library opens it.
  Q_PROPERTY(bool accepted READ isAccepted WRITE setAccepted NOTIFY acceptedChanged)

 public:
  OqsdkLink(OqsdkMessage message, QString url) : _message(std::move(message)), _url(std::move(url)) {}
  const OqsdkMessage& message() const { return _message; }
  const QString& url() const { return _url; }
  bool isAccepted() const { return _isAccepted; }
  void setAccepted(bool accepted);
  Q_SIGNAL void acceptedChanged();

 private:
  const OqsdkMessage _message;
  const QString _url;
  bool _isAccepted = false;
};

/// Shows messages above everything else in its window: `MessageLayer {}` anywhere in the window attaches it. The
/// signals report about the messages of all windows. They are emitted by the layer that was created last, so that each
/// is handled once. A program with this element must not call oq::Messages::setHandlers().
class MessageLayer : public QQuickItem {
  Q_OBJECT
  QML_ELEMENT
  /// While it is true no message appears; see oq::Messages::hold(). The same for all layers.
  Q_PROPERTY(bool held READ isHeld WRITE setHeld NOTIFY heldChanged)
  /// See oq::qt::AttachOptions. Read when the window is attached.
  Q_PROPERTY(double maximumScale READ maximumScale WRITE setMaximumScale NOTIFY maximumScaleChanged)

 public:
  /// The parts of a message that can be clicked; the numbers of oq::MessageAction.
  enum Part { Picture = 2, LeftButton = 4, RightButton = 5, MiddleButton = 6 };
  Q_ENUM(Part)

  explicit MessageLayer(QQuickItem* parent = nullptr);
  ~MessageLayer() override;

  bool isHeld() const { return oq::Messages::isHeld(); }
  void setHeld(bool held);
  double maximumScale() const { return _maximumScale; }
  void setMaximumScale(double scale);
  /// Removes the newest message from the screen.
  Q_INVOKABLE void dismiss() { oq::Messages::dismiss(); }

  Q_SIGNAL void shown(const OqsdkMessage& message);
  Q_SIGNAL void shownWithoutPicture(const OqsdkMessage& message);
  Q_SIGNAL void clicked(const OqsdkMessage& message, int part);
  Q_SIGNAL void closed(const OqsdkMessage& message);
  /// The library removed the message from the screen.
  Q_SIGNAL void removed(const OqsdkMessage& message);
  Q_SIGNAL void link(OqsdkLink* link);
  Q_SIGNAL void heldChanged();
  Q_SIGNAL void maximumScaleChanged();

 protected:
  void componentComplete() override;
  void itemChange(ItemChange change, const ItemChangeData& data) override;

 private:
  void attachWhenShown();

  double _maximumScale = 1.5;
  std::vector<QMetaObject::Connection> _awaitsWindow;
};
