// SPDX-License-Identifier: Apache-2.0
#include "ShopWindow.h"

#include <QtWidgets/QButtonGroup>
#include <QtWidgets/QScrollArea>
#include <algorithm>
#include <iostream>

#include "ArtView.h"
#include "Style.h"

namespace {

constexpr int spacing = 16;
constexpr int smallestCard = 200;
constexpr int largestColumn = 500;

QWidget* withLook(QWidget* widget, const char* look) {
  widget->setProperty("look", look);
  widget->setAttribute(Qt::WA_StyledBackground);
  return widget;
}

QLabel* makeLabel(const QString& text, const char* look) {
  auto* label = new QLabel(text);
  label->setProperty("look", look);
  return label;
}

template <class Layout>
Layout* layoutIn(QWidget* widget, int margin, int gap) {
  auto* layout = new Layout(widget);
  layout->setContentsMargins(margin, margin, margin, margin);
  layout->setSpacing(gap);
  return layout;
}

/// A page that scrolls. Its content is at most `largestWidth` wide, or fills the page if that is 0.
QVBoxLayout* makePage(QScrollArea*& page, int largestWidth) {
  page = new QScrollArea;
  page->setWidgetResizable(true);
  page->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  page->setFocusPolicy(Qt::NoFocus);
  auto* content = new QWidget;
  auto* row = new QHBoxLayout(content);
  row->setContentsMargins(20, 4, 20, 20);
  auto* column = new QWidget;
  if (largestWidth > 0) column->setMaximumWidth(largestWidth);
  row->addWidget(column);
  page->setWidget(content);
  auto* layout = layoutIn<QVBoxLayout>(column, 0, 14);
  layout->setAlignment(Qt::AlignTop);
  return layout;
}

QString text(const std::string& utf8) {
  return QString::fromStdString(utf8);
}

}  // namespace

ShopWindow::ShopWindow(TorvelinSDK& analytics, int width, int height)
    : _analytics(analytics), _pages(new QStackedWidget), _toast(new QLabel(this)) {
  setWindowTitle("Torvelin Shop");
  withLook(this, "shop");
  setStyleSheet(shopStyle);
  const bool isWide = width > height;
  auto* column = layoutIn<QVBoxLayout>(this, 0, 0);
  column->addWidget(makeTop(isWide));
  const std::pair<const char*, QWidget*> pages[] = {
      {"products", makeProducts()}, {"cart", makeCart()}, {"about", makeAbout()}};
  for (const auto& [name, page] : pages) {
    page->setObjectName(name);
    _pages->addWidget(page);
  }
  column->addWidget(_pages, 1);
  if (!isWide) column->addWidget(makeTabs(isWide));

  withLook(_toast, "toast");
  _toast->setAttribute(Qt::WA_TransparentForMouseEvents);
  _toast->hide();
  _toastEnd.setSingleShot(true);
  connect(&_toastEnd, &QTimer::timeout, _toast, &QWidget::hide);
  resize(width, height);
  refreshCart();
}

QWidget* ShopWindow::makeTop(bool isWide) {
  auto* bar = new QWidget;
  auto* row = new QHBoxLayout(bar);
  row->setContentsMargins(20, 16, 20, 12);
  auto* names = new QVBoxLayout;
  names->setSpacing(0);
  names->addWidget(makeLabel("Torvelin Shop", "brand"));
  names->addWidget(makeLabel("Good things for quiet rooms", "brand-line"));
  row->addLayout(names, 1);
  if (isWide) row->addWidget(makeTabs(isWide));
  return bar;
}

QWidget* ShopWindow::makeTabs(bool isWide) {
  auto* bar = withLook(new QWidget, isWide ? "" : "tabs");
  auto* row = new QHBoxLayout(bar);
  row->setContentsMargins(isWide ? 0 : 14, isWide ? 0 : 8, isWide ? 0 : 14, isWide ? 0 : 10);
  row->setSpacing(8);
  auto* group = new QButtonGroup(bar);
  for (const auto& [name, label] : {std::pair{"products", "Shop"}, {"cart", "Cart"}, {"about", "About"}}) {
    auto* tab =
        makeButton(std::string("tab-") + name, label, "tab", [this, page = std::string(name)] { showPage(page); });
    tab->setCheckable(true);
    group->addButton(tab);
    _tabs[name] = tab;
    row->addWidget(tab, isWide ? 0 : 1);
  }
  return bar;
}

QPushButton* ShopWindow::makeButton(const std::string& name, const QString& label, const char* look,
                                    const std::function<void()>& clicked) {
  auto* button = new QPushButton(label);
  button->setObjectName(text(name));
  button->setProperty("look", look);
  button->setCursor(Qt::PointingHandCursor);
  connect(button, &QPushButton::clicked, this, clicked);
  _buttons.emplace_back(name, button);
  return button;
}

QWidget* ShopWindow::makeBanner() {
  auto* banner = withLook(new QWidget, "banner");
  auto* row = new QHBoxLayout(banner);
  row->setContentsMargins(24, 22, 24, 22);
  row->setSpacing(spacing);
  auto* words = new QVBoxLayout;
  words->setSpacing(4);
  words->addWidget(makeLabel("AUTUMN TABLE", "banner-kicker"));
  auto* title = makeLabel("Slow mornings, warm cups", "banner-title");
  title->setWordWrap(true);
  words->addWidget(title);
  auto* line = makeLabel("Free delivery on every order this week", "banner-text");
  line->setWordWrap(true);
  words->addWidget(line);
  row->addLayout(words, 1);
  row->addWidget(makeButton("hero", "See it", "warm", [this] {
    _analytics.track("banner_click", {{"banner", "autumn-table"}});
    say("The autumn table is laid below");
  }));
  return banner;
}

QWidget* ShopWindow::makeProducts() {
  QScrollArea* page = nullptr;
  auto* column = makePage(page, 0);
  column->addWidget(makeBanner());
  auto* heading = new QHBoxLayout;
  heading->addWidget(makeLabel("New this week", "section"), 1);
  heading->addWidget(makeLabel(QString("%1 pieces").arg(catalogue().size()), "quiet"));
  column->addLayout(heading);
  _grid = new QGridLayout;
  _grid->setSpacing(spacing);
  for (const Product& product : catalogue()) _cards.push_back(makeProduct(product));
  column->addLayout(_grid);
  return page;
}

QWidget* ShopWindow::makeProduct(const Product& product) {
  auto* card = withLook(new QWidget, "card");
  auto* column = layoutIn<QVBoxLayout>(card, 1, 0);
  column->addWidget(new ArtView(product, smallestCard, ArtView::Corners::Top));
  auto* body = new QVBoxLayout;
  body->setContentsMargins(14, 10, 14, 14);
  body->setSpacing(2);
  body->addWidget(makeLabel(text(product.name), "product-name"));
  body->addWidget(makeLabel(text(product.line), "product-line"));
  auto* row = new QHBoxLayout;
  row->setContentsMargins(0, 8, 0, 0);
  row->setSpacing(6);
  row->addWidget(makeLabel(text("$" + priceText(product.cents)), "price"), 1);
  row->addWidget(makeButton("add-" + product.id, "Add", "soft", [this, &product] { addToCart(product); }));
  row->addWidget(makeButton("buy-" + product.id, "Buy", "", [this, &product] { buy(product); }));
  body->addLayout(row);
  column->addLayout(body);
  return card;
}

QWidget* ShopWindow::makeCart() {
  QScrollArea* page = nullptr;
  auto* column = makePage(page, largestColumn);
  column->addWidget(makeLabel("Your cart", "section"));
  _cartLines = new QVBoxLayout;
  _cartLines->setSpacing(10);
  column->addLayout(_cartLines);
  auto* row = new QHBoxLayout;
  row->setContentsMargins(0, 10, 0, 0);
  _cartTotal = makeLabel("", "total");
  row->addWidget(_cartTotal, 1);
  _checkOut = makeButton("checkout", "Check out", "wide", [this] { checkOut(); });
  row->addWidget(_checkOut);
  column->addLayout(row);
  return page;
}

QWidget* ShopWindow::makeAbout() {
  QScrollArea* page = nullptr;
  auto* column = makePage(page, largestColumn);
  column->addWidget(makeLabel("About the shop", "section"));
  auto* card = withLook(new QWidget, "card");
  auto* inner = layoutIn<QVBoxLayout>(card, 1, 0);
  inner->addWidget(new ArtView(catalogue()[2], largestColumn, ArtView::Corners::Top));
  auto* body = new QVBoxLayout;
  body->setContentsMargins(14, 10, 14, 14);
  body->setSpacing(10);
  for (const char* line :
       {"Torvelin Shop sells eight things at a time. Each is made by someone we know, in numbers they can "
        "manage.",
        "When one is gone, another takes its place. Orders leave the workshop on Tuesdays and Fridays."}) {
    auto* paragraph = makeLabel(line, "quiet");
    paragraph->setWordWrap(true);
    body->addWidget(paragraph);
  }
  _aboutButtons = new QHBoxLayout;
  _aboutButtons->setSpacing(10);
  _aboutButtons->setAlignment(Qt::AlignLeft);
  body->addLayout(_aboutButtons);
  addAboutButton("contact", "Write to us", [this] {
    _analytics.track("contact", {{"from", "about"}});
    say("We answer within a day");
  });
  inner->addLayout(body);
  column->addWidget(card);
  return page;
}

void ShopWindow::addAboutButton(const std::string& name, const QString& label, const std::function<void()>& clicked) {
  _aboutButtons->addWidget(makeButton(name, label, "soft", clicked));
}

void ShopWindow::showPage(const std::string& name) {
  _tabs.at(name)->setChecked(true);
  _pages->setCurrentWidget(_pages->findChild<QWidget*>(text(name), Qt::FindDirectChildrenOnly));
  _analytics.track("$pageview", {{"page", name}});
  printLayoutSoon();
}

void ShopWindow::addToCart(const Product& product) {
  ++_cart[&product];
  refreshCart();
  say(text(product.name + " is in your cart"));
  _analytics.track("add_to_cart", {{"item", product.id}, {"price", priceText(product.cents)}});
}

void ShopWindow::buy(const Product& product) {
  say(text("Thank you! " + product.name + " is on its way"));
  _analytics.track("buy", {{"item", product.id}, {"price", priceText(product.cents)}});
}

void ShopWindow::checkOut() {
  int total = 0, pieces = 0;
  for (const auto& [product, count] : _cart) {
    pieces += count;
    total += count * product->cents;
  }
  _cart.clear();
  refreshCart();
  say("Thank you for your order");
  _analytics.track("checkout", {{"items", std::to_string(pieces)}, {"total", priceText(total)}});
}

void ShopWindow::refreshCart() {
  while (QLayoutItem* line = _cartLines->takeAt(0)) {
    delete line->widget();
    delete line;
  }
  int total = 0, pieces = 0;
  // In the catalogue's order, so that lines do not move.
  for (const Product& product : catalogue()) {
    const auto found = _cart.find(&product);
    if (found == _cart.end()) continue;
    const int count = found->second;
    total += count * product.cents;
    pieces += count;
    auto* line = withLook(new QWidget, "card");
    auto* row = layoutIn<QHBoxLayout>(line, 12, 14);
    auto* art = new ArtView(product, 80, ArtView::Corners::All);
    art->setFixedWidth(80);
    row->addWidget(art);
    auto* words = new QVBoxLayout;
    words->setSpacing(2);
    words->setAlignment(Qt::AlignVCenter);
    words->addWidget(makeLabel(text(product.name), "product-name"));
    words->addWidget(makeLabel(text(std::to_string(count) + (count == 1 ? " piece" : " pieces")), "product-line"));
    row->addLayout(words, 1);
    row->addWidget(makeLabel(text("$" + priceText(count * product.cents)), "price"));
    _cartLines->addWidget(line);
  }
  if (pieces == 0) _cartLines->addWidget(makeLabel("Nothing in it yet. The mug is a good beginning.", "quiet"));
  _cartTotal->setText(text("$" + priceText(total)));
  _checkOut->setEnabled(pieces > 0);
  if (_tabs.contains("cart")) _tabs["cart"]->setText(pieces > 0 ? QString("Cart (%1)").arg(pieces) : QString("Cart"));
}

void ShopWindow::resizeEvent(QResizeEvent*) {
  arrangeProducts();
  placeToast();
}

/// One to four columns, as many as fit.
void ShopWindow::arrangeProducts() {
  const int columns = std::clamp((width() - 40 + spacing) / (smallestCard + spacing), 1, 4);
  int index = 0;
  for (QWidget* card : _cards) {
    _grid->addWidget(card, index / columns, index % columns);
    ++index;
  }
  for (int column = 0; column < 4; ++column) _grid->setColumnStretch(column, column < columns ? 1 : 0);
}

void ShopWindow::placeToast() {
  _toast->adjustSize();
  _toast->move((width() - _toast->width()) / 2, height() - 84 - _toast->height());
}

void ShopWindow::say(const QString& words) {
  _toast->setText(words);
  placeToast();
  _toast->show();
  _toast->raise();
  _toastEnd.start(3000);
}

void ShopWindow::printLayoutSoon() {
  // Later, because the page has not been laid out yet.
  if (_printsLayout) QTimer::singleShot(50, this, &ShopWindow::printLayoutNow);
}

void ShopWindow::printLayoutNow() {
  for (const auto& [name, button] : _buttons) {
    // Skip buttons that are scrolled out of view.
    const QPoint middle = button->rect().center();
    const QWidget* area = _pages->isAncestorOf(button) ? static_cast<QWidget*>(_pages) : this;
    if (!button->isVisible() || !area->rect().contains(button->mapTo(area, middle))) continue;
    const QPoint place = button->mapTo(this, middle);
    std::cout << "widget " << name << " " << place.x() << " " << place.y() << "\n";
  }
  std::cout << std::flush;
}
