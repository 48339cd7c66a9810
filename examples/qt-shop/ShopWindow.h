// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QtCore/QTimer>
#include <QtWidgets/QGridLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QStackedWidget>
#include <QtWidgets/QVBoxLayout>
#include <QtWidgets/QWidget>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "Catalogue.h"
#include "TorvelinSDK.h"

/// The shop: products, a cart and a page about the shop. It records events with its analytics class and does not know
/// about messages.
class ShopWindow : public QWidget {
  Q_OBJECT

 public:
  ShopWindow(TorvelinSDK& analytics, int width, int height);

  /// From now on, prints "widget NAME X Y" for the buttons of every page that is shown: the centre, relative to the
  /// window's top left corner. For scripts that click them.
  void printLayout() { _printsLayout = true; }
  /// Shows the page and records a page view.
  void showPage(const std::string& name);
  /// The pages "products", "cart" and "about".
  QStackedWidget& pages() { return *_pages; }
  /// Adds a button to the page about the shop.
  void addAboutButton(const std::string& name, const QString& text, const std::function<void()>& clicked);
  /// Shows a short text to the customer for three seconds.
  void say(const QString& text);

 protected:
  void resizeEvent(QResizeEvent* event) override;

 private:
  QWidget* makeTop(bool isWide);
  QWidget* makeTabs(bool isWide);
  QWidget* makeProducts();
  QWidget* makeBanner();
  QWidget* makeProduct(const Product& product);
  QWidget* makeCart();
  QWidget* makeAbout();
  QPushButton* makeButton(const std::string& name, const QString& text, const char* look,
                          const std::function<void()>& clicked);

  void addToCart(const Product& product);
  void buy(const Product& product);
  void checkOut();
  void refreshCart();
  void arrangeProducts();
  void placeToast();
  void printLayoutSoon();
  void printLayoutNow();

  TorvelinSDK& _analytics;
  bool _printsLayout = false;
  std::map<const Product*, int> _cart;
  std::vector<std::pair<std::string, QPushButton*>> _buttons;
  std::map<std::string, QPushButton*> _tabs;
  std::vector<QWidget*> _cards;
  QStackedWidget* _pages;
  QGridLayout* _grid = nullptr;
  QVBoxLayout* _cartLines = nullptr;
  QHBoxLayout* _aboutButtons = nullptr;
  QLabel* _cartTotal = nullptr;
  QPushButton* _checkOut = nullptr;
  QLabel* _toast;
  QTimer _toastEnd;
};
