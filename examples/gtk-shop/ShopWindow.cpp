// SPDX-License-Identifier: Apache-2.0
#include "ShopWindow.h"

#include <iostream>

#include "Style.h"

namespace {

template <class... Classes>
Gtk::Label& makeLabel(const std::string& text, Classes... classes) {
  auto* label = Gtk::make_managed<Gtk::Label>(text, Gtk::Align::START);
  (label->add_css_class(classes), ...);
  return *label;
}

Gtk::Box& makeBox(Gtk::Orientation orientation, int spacing) {
  return *Gtk::make_managed<Gtk::Box>(orientation, spacing);
}

/// A picture that keeps its proportions, with rounded corners: all four, or only the top ones.
Gtk::Widget& makeArt(const Product& product, int width, bool allCorners) {
  auto* area = Gtk::make_managed<Gtk::DrawingArea>();
  int height = static_cast<int>(width * artHeight / artWidth);
  area->set_content_width(width);
  area->set_content_height(height);
  area->set_draw_func([&product, allCorners](const Cairo::RefPtr<Cairo::Context>& cr, int w, int h) {
    double radius = allCorners ? 12 : 18, bottom = allCorners ? h : h + radius;
    constexpr double quarter = G_PI / 2;
    cr->arc(w - radius, radius, radius, -quarter, 0);
    cr->arc(w - radius, bottom - radius, radius, 0, quarter);
    cr->arc(radius, bottom - radius, radius, quarter, 2 * quarter);
    cr->arc(radius, radius, radius, 2 * quarter, 3 * quarter);
    cr->close_path();
    cr->clip();
    cr->set_source_rgb(product.backdrop.red, product.backdrop.green, product.backdrop.blue);
    cr->paint();
    double scale = std::min(w / artWidth, h / artHeight);
    cr->translate((w - artWidth * scale) / 2, (h - artHeight * scale) / 2);
    cr->scale(scale, scale);
    product.draw(cr->cobj());
  });
  return *area;
}

Gtk::Widget& inScroller(Gtk::Widget& content, int maximumWidth) {
  auto* scroller = Gtk::make_managed<Gtk::ScrolledWindow>();
  scroller->set_policy(Gtk::PolicyType::NEVER, Gtk::PolicyType::AUTOMATIC);
  scroller->set_vexpand();
  content.set_margin(20);
  content.set_margin_top(4);
  if (maximumWidth > 0) {
    content.set_halign(Gtk::Align::CENTER);
    content.set_size_request(maximumWidth, -1);
  }
  scroller->set_child(content);
  return *scroller;
}

}  // namespace

ShopWindow::ShopWindow(TorvelinSDK& analytics, int width, int height) : _analytics(analytics) {
  set_title("Torvelin Shop");
  set_default_size(width, height);
  add_css_class("shop");
  auto style = Gtk::CssProvider::create();
  style->load_from_data(shopStyle);
  Gtk::StyleContext::add_provider_for_display(get_display(), style, GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);

  bool wide = width > height;
  auto& page = makeBox(Gtk::Orientation::VERTICAL, 0);
  page.append(makeTop(wide));
  _pages.set_transition_type(Gtk::StackTransitionType::CROSSFADE);
  _pages.set_transition_duration(140);
  _pages.set_vexpand();
  _pages.add(makeProducts(), "products");
  _pages.add(makeCart(), "cart");
  _pages.add(makeAbout(), "about");
  page.append(_pages);
  if (!wide) page.append(makeTabs(wide));

  _toastText.add_css_class("toast");
  _toast.set_child(_toastText);
  _toast.set_transition_type(Gtk::RevealerTransitionType::CROSSFADE);
  _toast.set_halign(Gtk::Align::CENTER);
  _toast.set_valign(Gtk::Align::END);
  _toast.set_margin_bottom(84);
  _toast.set_can_target(false);
  auto* layers = Gtk::make_managed<Gtk::Overlay>();
  layers->set_child(page);
  layers->add_overlay(_toast);
  set_child(*layers);
  refreshCart();
}

Gtk::Widget& ShopWindow::makeTop(bool wide) {
  auto& bar = makeBox(Gtk::Orientation::HORIZONTAL, 12);
  bar.add_css_class("topbar");
  auto& names = makeBox(Gtk::Orientation::VERTICAL, 0);
  names.set_hexpand();
  names.append(makeLabel("Torvelin Shop", "brand"));
  names.append(makeLabel("Good things for quiet rooms", "brand-line"));
  bar.append(names);
  if (wide) bar.append(makeTabs(wide));
  return bar;
}

Gtk::Widget& ShopWindow::makeTabs(bool wide) {
  auto& bar = makeBox(Gtk::Orientation::HORIZONTAL, 8);
  bar.add_css_class("tabs");
  if (wide) bar.add_css_class("inline");
  bar.set_homogeneous(!wide);
  bar.set_valign(wide ? Gtk::Align::CENTER : Gtk::Align::FILL);
  Gtk::ToggleButton* first = nullptr;
  for (const auto& [name, text] : {std::pair{"products", "Shop"}, {"cart", "Cart"}, {"about", "About"}}) {
    auto* tab = Gtk::make_managed<Gtk::ToggleButton>(text);
    tab->add_css_class("tab");
    if (first) tab->set_group(*first);
    if (!first) first = tab;
    tab->signal_clicked().connect([this, page = std::string(name)] { showPage(page); });
    _tabs[name] = tab;
    _buttons.emplace_back(std::string("tab-") + name, tab);
    bar.append(*tab);
  }
  return bar;
}

Gtk::Button& ShopWindow::makeButton(const std::string& name, const std::string& text,
                                    const std::vector<Glib::ustring>& classes) {
  auto* button = Gtk::make_managed<Gtk::Button>(text);
  button->add_css_class("pill");
  for (const auto& style : classes) button->add_css_class(style);
  button->set_valign(Gtk::Align::CENTER);
  _buttons.emplace_back(name, button);
  return *button;
}

Gtk::Widget& ShopWindow::makeBanner() {
  auto& banner = makeBox(Gtk::Orientation::HORIZONTAL, 16);
  banner.add_css_class("banner");
  auto& words = makeBox(Gtk::Orientation::VERTICAL, 4);
  words.set_hexpand();
  words.append(makeLabel("AUTUMN TABLE", "banner-kicker"));
  words.append(makeLabel("Slow mornings, warm cups", "banner-title"));
  words.append(makeLabel("Free delivery on every order this week", "banner-text"));
  banner.append(words);
  auto& look = makeButton("hero", "See it", {"warm"});
  look.signal_clicked().connect([this] {
    _analytics.track("banner_click", {{"banner", "autumn-table"}});
    say("The autumn table is laid below");
  });
  banner.append(look);
  return banner;
}

Gtk::Widget& ShopWindow::makeProducts() {
  auto& column = makeBox(Gtk::Orientation::VERTICAL, 14);
  column.append(makeBanner());
  auto& heading = makeBox(Gtk::Orientation::HORIZONTAL, 8);
  auto& title = makeLabel("New this week", "section");
  title.set_hexpand();
  title.set_halign(Gtk::Align::START);
  heading.append(title);
  heading.append(makeLabel(std::to_string(catalogue().size()) + " pieces", "quiet"));
  column.append(heading);

  auto* grid = Gtk::make_managed<Gtk::FlowBox>();
  grid->set_selection_mode(Gtk::SelectionMode::NONE);
  grid->set_homogeneous();
  grid->set_min_children_per_line(2);
  grid->set_max_children_per_line(4);
  grid->set_row_spacing(16);
  grid->set_column_spacing(16);
  for (const Product& product : catalogue()) grid->append(makeProduct(product));
  for (auto* child = grid->get_first_child(); child; child = child->get_next_sibling()) child->set_focusable(false);
  column.append(*grid);
  return inScroller(column, 0);
}

Gtk::Widget& ShopWindow::makeProduct(const Product& product) {
  auto& card = makeBox(Gtk::Orientation::VERTICAL, 0);
  card.add_css_class("card");
  card.append(makeArt(product, 200, false));
  auto& body = makeBox(Gtk::Orientation::VERTICAL, 2);
  body.add_css_class("card-body");
  body.append(makeLabel(product.name, "product-name"));
  body.append(makeLabel(product.line, "product-line"));
  auto& row = makeBox(Gtk::Orientation::HORIZONTAL, 6);
  row.set_margin_top(8);
  auto& price = makeLabel("$" + priceText(product.cents), "price");
  price.set_hexpand();
  price.set_halign(Gtk::Align::START);
  row.append(price);
  auto& add = makeButton("add-" + product.id, "Add", {"soft"});
  add.signal_clicked().connect([this, &product] { addToCart(product); });
  row.append(add);
  auto& take = makeButton("buy-" + product.id, "Buy", {});
  take.signal_clicked().connect([this, &product] { buy(product); });
  row.append(take);
  body.append(row);
  card.append(body);
  return card;
}

Gtk::Widget& ShopWindow::makeCart() {
  auto& column = makeBox(Gtk::Orientation::VERTICAL, 14);
  column.append(makeLabel("Your cart", "section"));
  column.append(_cartLines);
  auto& row = makeBox(Gtk::Orientation::HORIZONTAL, 12);
  row.set_margin_top(10);
  _cartTotal.add_css_class("total");
  _cartTotal.set_hexpand();
  _cartTotal.set_halign(Gtk::Align::START);
  row.append(_cartTotal);
  _checkOut = &makeButton("checkout", "Check out", {"wide"});
  _checkOut->signal_clicked().connect([this] { checkOut(); });
  row.append(*_checkOut);
  column.append(row);
  return inScroller(column, 500);
}

Gtk::Widget& ShopWindow::makeAbout() {
  auto& column = makeBox(Gtk::Orientation::VERTICAL, 12);
  column.append(makeLabel("About the shop", "section"));
  auto& card = makeBox(Gtk::Orientation::VERTICAL, 10);
  card.add_css_class("card");
  card.append(makeArt(catalogue()[2], 500, false));
  auto& body = makeBox(Gtk::Orientation::VERTICAL, 10);
  body.add_css_class("card-body");
  for (const char* text :
       {"Torvelin Shop sells eight things at a time. Each is made by someone we know, in numbers they can "
        "manage.",
        "When one is gone, another takes its place. Orders leave the workshop on Tuesdays and Fridays."}) {
    auto& paragraph = makeLabel(text, "quiet");
    paragraph.set_wrap();
    paragraph.set_xalign(0);
    body.append(paragraph);
  }
  body.append(_aboutButtons);
  addAboutButton("contact", "Write to us", [this] {
    _analytics.track("contact", {{"from", "about"}});
    say("We answer within a day");
  });
  card.append(body);
  column.append(card);
  return inScroller(column, 500);
}

void ShopWindow::addAboutButton(const std::string& name, const std::string& text,
                                const std::function<void()>& clicked) {
  auto& button = makeButton(name, text, {"soft"});
  button.signal_clicked().connect(clicked);
  _aboutButtons.append(button);
}

void ShopWindow::showPage(const std::string& name) {
  _tabs.at(name)->set_active();
  _pages.set_visible_child(name);
  _analytics.track("$pageview", {{"page", name}});
  printLayoutSoon();
}

void ShopWindow::addToCart(const Product& product) {
  ++_cart[&product];
  refreshCart();
  say(product.name + " is in your cart");
  _analytics.track("add_to_cart", {{"item", product.id}, {"price", priceText(product.cents)}});
}

void ShopWindow::buy(const Product& product) {
  say("Thank you! " + product.name + " is on its way");
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
  while (auto* line = _cartLines.get_first_child()) _cartLines.remove(*line);
  int total = 0, pieces = 0;
  // In the catalogue's order, so that lines do not move.
  for (const Product& product : catalogue()) {
    auto found = _cart.find(&product);
    if (found == _cart.end()) continue;
    int count = found->second;
    total += count * product.cents;
    pieces += count;
    auto& line = makeBox(Gtk::Orientation::HORIZONTAL, 14);
    line.add_css_class("card");
    line.add_css_class("card-body");
    line.append(makeArt(product, 80, true));
    auto& words = makeBox(Gtk::Orientation::VERTICAL, 2);
    words.set_valign(Gtk::Align::CENTER);
    words.set_hexpand();
    words.append(makeLabel(product.name, "product-name"));
    words.append(makeLabel(std::to_string(count) + (count == 1 ? " piece" : " pieces"), "product-line"));
    line.append(words);
    line.append(makeLabel("$" + priceText(count * product.cents), "price"));
    _cartLines.append(line);
  }
  if (pieces == 0) _cartLines.append(makeLabel("Nothing in it yet. The mug is a good beginning.", "quiet"));
  _cartTotal.set_text("$" + priceText(total));
  _checkOut->set_sensitive(pieces > 0);
  _tabs.at("cart")->set_label(pieces > 0 ? "Cart (" + std::to_string(pieces) + ")" : "Cart");
}

void ShopWindow::say(const std::string& text) {
  _toastText.set_text(text);
  _toast.set_reveal_child(true);
  _toastEnd.disconnect();
  _toastEnd = Glib::signal_timeout().connect_seconds([this] { return _toast.set_reveal_child(false), false; }, 3);
}

void ShopWindow::printLayoutSoon() {
  if (!_printsLayout) return;
  // Two frames later, since the first frame lays out the page.
  _pages.add_tick_callback([this, frames = 0](const Glib::RefPtr<Gdk::FrameClock>&) mutable {
    if (++frames < 3) return true;
    printLayoutNow();
    return false;
  });
}

void ShopWindow::printLayoutNow() {
  for (const auto& [name, widget] : _buttons) {
    // Skip buttons that are scrolled out of view.
    Gtk::Widget& area = widget->is_ancestor(_pages) ? static_cast<Gtk::Widget&>(_pages) : *this;
    double x = 0, y = 0, areaX = 0, areaY = 0;
    double width = widget->get_width(), height = widget->get_height();
    if (!widget->get_mapped()) continue;
    if (!widget->translate_coordinates(*this, width / 2, height / 2, x, y)) continue;
    if (!widget->translate_coordinates(area, width / 2, height / 2, areaX, areaY)) continue;
    if (areaX < 0 || areaY < 0 || areaX >= area.get_width() || areaY >= area.get_height()) continue;
    std::cout << "widget " << name << " " << static_cast<int>(x) << " " << static_cast<int>(y) << "\n";
  }
  std::cout << std::flush;
}
