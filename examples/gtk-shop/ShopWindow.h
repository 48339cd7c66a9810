// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtkmm.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "Catalogue.h"
#include "TorvelinSDK.h"

/// The shop: products, a cart and a page about the shop. It records events with its analytics class and does not know
/// about messages.
class ShopWindow : public Gtk::Window {
 public:
  ShopWindow(TorvelinSDK& analytics, int width, int height);

  /// From now on, prints "widget NAME X Y" for the buttons of every page that is shown: the centre, relative to the
  /// window's top left corner. For scripts that click them.
  void printLayout() { _printsLayout = true; }
  /// Shows the page and records a page view.
  void showPage(const std::string& name);
  /// The pages "products", "cart" and "about".
  Gtk::Stack& pages() { return _pages; }
  /// Adds a button to the page about the shop.
  void addAboutButton(const std::string& name, const std::string& text, const std::function<void()>& clicked);
  /// Shows a short text to the customer for three seconds.
  void say(const std::string& text);

 private:
  Gtk::Widget& makeTop(bool wide);
  Gtk::Widget& makeTabs(bool wide);
  Gtk::Widget& makeProducts();
  Gtk::Widget& makeBanner();
  Gtk::Widget& makeProduct(const Product& product);
  Gtk::Widget& makeCart();
  Gtk::Widget& makeAbout();
  Gtk::Button& makeButton(const std::string& name, const std::string& text, const std::vector<Glib::ustring>& classes);

  void addToCart(const Product& product);
  void buy(const Product& product);
  void checkOut();
  void refreshCart();
  void printLayoutSoon();
  void printLayoutNow();

  TorvelinSDK& _analytics;
  bool _printsLayout = false;
  std::map<const Product*, int> _cart;
  std::vector<std::pair<std::string, Gtk::Widget*>> _buttons;
  std::map<std::string, Gtk::ToggleButton*> _tabs;
  Gtk::Stack _pages;
  Gtk::Box _cartLines{Gtk::Orientation::VERTICAL, 10};
  Gtk::Box _aboutButtons{Gtk::Orientation::HORIZONTAL, 10};
  Gtk::Label _cartTotal;
  Gtk::Button* _checkOut = nullptr;
  Gtk::Revealer _toast;
  Gtk::Label _toastText;
  sigc::connection _toastEnd;
};
