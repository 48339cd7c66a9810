// SPDX-License-Identifier: Apache-2.0
#include "Backdrop.h"

#include <string>

#include "UIKit/Views/UILabel.h"
#include "UIKit/Windows/MainObject.h"
#include "UIKit/Windows/UIApplication.h"

namespace oq::gallery {

namespace {

constexpr UIColor kPaper{.965, .957, .937, 1}, kInk{.13, .20, .18, 1}, kFaint{.45, .48, .46, 1};

std::shared_ptr<UIView> box(const std::shared_ptr<UIView>& parent, CGRect frame, UIColor color, double corner) {
  auto view = makeMainObject<UIView>(frame);
  view->setBackgroundColor(color);
  view->layer().setCornerRadius(corner);
  parent->addSubview(view);
  return view;
}

void text(const std::shared_ptr<UIView>& parent, CGRect frame, const std::string& string, double size, UIColor color) {
  auto label = makeMainObject<UILabel>();
  label->setFrame(frame);
  label->setFont(UIFont::systemFontOfSize(size));
  label->setTextColor(color);
  label->setText(string);
  parent->addSubview(label);
}

}  // namespace

void addBackdrop() {
  struct Item {
    const char *name, *price;
    UIColor color;
  };
  const Item items[] = {
      {"Stoneware mug", "$28.00", {.85, .79, .70, 1}},  {"Reading lamp", "$74.00", {.76, .82, .78, 1}},
      {"Clay vase", "$46.00", {.90, .76, .69, 1}},      {"Quiet clock", "$52.00", {.74, .78, .86, 1}},
      {"Beeswax candle", "$19.00", {.87, .86, .72, 1}}, {"Cutting board", "$38.00", {.86, .74, .76, 1}}};
  auto window = UIApplication::sharedApplication().keyWindow();
  CGSize size = window->bounds().size;
  auto page = box(window, {{}, size}, kPaper, 0);
  page->setFillsSurroundings(true);
  text(page, CGRectMake(16, 18, size.width, 30), "Torvelin Shop", 22, kInk);
  text(page, CGRectMake(16, 46, size.width, 20), "Good things for quiet rooms", 13, kFaint);
  double side = (size.width - 48) / 2, height = side * 1.3;
  for (int i = 0; i < 6; ++i) {
    auto card = box(page, CGRectMake(16 + i % 2 * (side + 16), 84 + i / 2 * (height + 14), side, height),
                    UIColor::whiteColor(), 14);
    card->setClipsToBounds(true);
    box(card, CGRectMake(0, 0, side, side * .88), items[i].color, 0);
    text(card, CGRectMake(12, side * .92, side, 22), items[i].name, 15, kInk);
    text(card, CGRectMake(12, side * .92 + 22, side, 22), items[i].price, 14, kFaint);
  }
}

}  // namespace oq::gallery
