// SPDX-License-Identifier: Apache-2.0
#include "UIKit/Controllers/UITabBarController.h"

#include <algorithm>

namespace oq {

Class* UITabBarController::staticClass() {
  static Class* registered =
      registerClass("UITabBarController", UIViewController::staticClass(),
                    {
                        method<&UITabBarController::_viewWillAppear>(viewWillAppearSelector),
                        method<&UITabBarController::_viewDidAppear>(viewDidAppearSelector),
                        method<&UITabBarController::_viewWillDisappear>(viewWillDisappearSelector),
                        method<&UITabBarController::_viewDidDisappear>(viewDidDisappearSelector),
                    });
  return registered;
}

std::shared_ptr<UIView> UITabBarController::loadView() {
  for (const auto& page : _pages) setParentOf(*page, shared_from_this());
  return ContainerViewController::loadView();
}

bool UITabBarController::has(const std::shared_ptr<UIViewController>& page) const {
  return std::find(_pages.begin(), _pages.end(), page) != _pages.end();
}

void UITabBarController::setViewControllers(const Pages& pages, bool animated) {
  const auto self = shared_from_this();
  const auto former = std::exchange(_pages, {});
  for (const auto& page : pages) {
    if (page && page != self && !has(page)) _pages.push_back(page);
  }
  for (const auto& page : former) {
    if (!has(page)) setParentOf(*page, nullptr);
  }
  for (const auto& page : _pages) setParentOf(*page, self);
  if (!has(_selected)) select(_pages.empty() ? nullptr : _pages.front(), animated);
}

void UITabBarController::setSelectedViewController(const std::shared_ptr<UIViewController>& page) {
  if (page && page != _selected && has(page)) select(page, false);
}

void UITabBarController::select(const std::shared_ptr<UIViewController>& page, bool animated) {
  const auto former = std::exchange(_selected, page);
  turnPage(former, page, animated);
}

std::size_t UITabBarController::selectedIndex() const {
  const auto found = std::find(_pages.begin(), _pages.end(), _selected);
  return found == _pages.end() ? 0 : static_cast<std::size_t>(found - _pages.begin());
}

void UITabBarController::setSelectedIndex(std::size_t index) {
  if (index < _pages.size()) setSelectedViewController(_pages[index]);
}

}  // namespace oq
