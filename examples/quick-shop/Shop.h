// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QtCore/QObject>
#include <QtCore/QVariant>
#include <QtQuick/QQuickWindow>

#include "TorvelinSDK.h"

/// What the shop's QML files use: the products, the cart and the analytics. It does not know about messages.
class Shop : public QObject {
  Q_OBJECT
  Q_PROPERTY(QVariantList products READ products CONSTANT)
  /// The cart's lines: products with `count` and `sum`.
  Q_PROPERTY(QVariantList cart READ cart NOTIFY cartChanged)
  Q_PROPERTY(int pieces READ pieces NOTIFY cartChanged)
  Q_PROPERTY(QString total READ total NOTIFY cartChanged)

 public:
  explicit Shop(TorvelinSDK& analytics) : _analytics(analytics) {}

  QVariantList products() const;
  QVariantList cart() const;
  int pieces() const;
  QString total() const;

  Q_INVOKABLE void addToCart(const QString& product);
  Q_INVOKABLE void buy(const QString& product);
  Q_INVOKABLE void checkOut();
  Q_INVOKABLE void track(const QString& event, const QString& key, const QString& value);

  /// From now on, prints "widget NAME X Y" for the buttons that are visible, after each change of the page: the centre,
  /// relative to the window's top left corner. For scripts that click them.
  void printLayout(QQuickWindow& window) { _printed = &window; }
  Q_INVOKABLE void layoutChanged();

  Q_SIGNAL void cartChanged();
  /// The customer should read this.
  Q_SIGNAL void said(const QString& text);

 private:
  TorvelinSDK& _analytics;
  std::map<std::string, int> _cart;
  QQuickWindow* _printed = nullptr;
};
