// SPDX-License-Identifier: Apache-2.0
#include "Shop.h"

#include <QtCore/QTimer>
#include <QtQuick/QQuickItem>
#include <algorithm>
#include <iostream>

#include "Catalogue.h"

namespace {

QString text(const std::string& utf8) {
  return QString::fromStdString(utf8);
}

const Product& productOf(const std::string& id) {
  const auto& all = catalogue();
  return *std::find_if(all.begin(), all.end(), [&](const Product& each) { return each.id == id; });
}

QVariantMap described(const Product& product) {
  return {{"id", text(product.id)},
          {"name", text(product.name)},
          {"line", text(product.line)},
          {"price", text("$" + priceText(product.cents))}};
}

void printButtons(const QQuickItem& item) {
  if (!item.isVisible()) return;
  if (item.property("isButton").toBool()) {
    const QPoint centre = item.mapToScene({item.width() / 2, item.height() / 2}).toPoint();
    std::cout << "widget " << item.objectName().toStdString() << " " << centre.x() << " " << centre.y() << std::endl;
  }
  for (const QQuickItem* child : item.childItems()) printButtons(*child);
}

}  // namespace

QVariantList Shop::products() const {
  QVariantList list;
  for (const Product& product : catalogue()) list << described(product);
  return list;
}

QVariantList Shop::cart() const {
  QVariantList lines;
  // In the catalogue's order, so that lines do not move.
  for (const Product& product : catalogue()) {
    const auto found = _cart.find(product.id);
    if (found == _cart.end()) continue;
    QVariantMap line = described(product);
    line["count"] = found->second;
    line["sum"] = text("$" + priceText(found->second * product.cents));
    lines << line;
  }
  return lines;
}

int Shop::pieces() const {
  int count = 0;
  for (const auto& [id, pieces] : _cart) count += pieces;
  return count;
}

QString Shop::total() const {
  int cents = 0;
  for (const auto& [id, pieces] : _cart) cents += pieces * productOf(id).cents;
  return text(priceText(cents));
}

void Shop::addToCart(const QString& id) {
  const Product& product = productOf(id.toStdString());
  ++_cart[product.id];
  cartChanged();
  said(text(product.name + " is in your cart"));
  _analytics.track("add_to_cart", {{"item", product.id}, {"price", priceText(product.cents)}});
}

void Shop::buy(const QString& id) {
  const Product& product = productOf(id.toStdString());
  said(text("Thank you! " + product.name + " is on its way"));
  _analytics.track("buy", {{"item", product.id}, {"price", priceText(product.cents)}});
}

void Shop::checkOut() {
  const std::string items = std::to_string(pieces()), sum = total().toStdString();
  _cart.clear();
  cartChanged();
  said("Thank you for your order");
  _analytics.track("checkout", {{"items", items}, {"total", sum}});
}

void Shop::track(const QString& event, const QString& key, const QString& value) {
  const std::string name = key.toStdString();
  _analytics.track(event.toStdString(), {{name.c_str(), value.toStdString()}});
}

/// Later, because the items are not laid out yet.
void Shop::layoutChanged() {
  if (!_printed) return;
  QTimer::singleShot(100, this, [this] { printButtons(*_printed->contentItem()); });
}
