// SPDX-License-Identifier: Apache-2.0
#include "UIKit/Controllers/UINavigationBar.h"

#include <algorithm>

namespace oq {

namespace {
constexpr double kBarMargin = 8, kBarLine = 0.5, kTitleSize = 17;
constexpr UIColor kLineColor{0, 0, 0, 0.2};
}  // namespace

Class* UINavigationBar::staticClass() {
  static Class* registered = registerClass("UINavigationBar", UIView::staticClass());
  return registered;
}

UINavigationBar::UINavigationBar() : _line(makeMainObject<UIView>()), _title(makeMainObject<UILabel>()) {
  setBackgroundColor(UIColor::whiteColor());
  _line->setBackgroundColor(kLineColor);
  _title->setFont(UIFont::boldSystemFontOfSize(kTitleSize));
  _title->setTextAlignment(NSTextAlignment::Center);
}

UINavigationBar::~UINavigationBar() {
  release();
}

void UINavigationBar::release() {
  // Another bar may show the item now.
  if (_item && _item->shownBy == this) {
    _item->onChange = nullptr;
    _item->shownBy = nullptr;
  }
  _item.reset();
}

void UINavigationBar::setTopItem(std::shared_ptr<UINavigationItem> item) {
  if (item != _item) {
    release();
    _item = std::move(item);
    if (_item) {
      _item->onChange = [this] { showItem(); };
      _item->shownBy = this;
    }
  }
  showItem();
}

void UINavigationBar::showItem() {
  const auto left = _item && _item->leftBarButtonItem() ? _item->leftBarButtonItem()->customView() : nullptr;
  if (_left && _left != left && _left->superview().get() == this) _left->removeFromSuperview();
  _left = left;
  if (_left) addSubview(_left);
  _title->setText(_item ? _item->title() : std::nullopt);
  addSubview(_title);
  addSubview(_line);
  layOut();
}

/// The title is centred in the bar; its width leaves space for the left item on both sides.
void UINavigationBar::layOut() {
  const CGSize size = bounds().size;
  double taken = kBarMargin;
  if (_left) {
    const CGSize left = _left->bounds().size;
    _left->setFrame(CGRectMake(kBarMargin, (size.height - left.height) / 2, left.width, left.height));
    taken += left.width + kBarMargin;
  }
  _title->setFrame(CGRectMake(taken, 0, std::max(0.0, size.width - 2 * taken), size.height));
  _line->setFrame(CGRectMake(0, size.height - kBarLine, size.width, kBarLine));
}

}  // namespace oq
