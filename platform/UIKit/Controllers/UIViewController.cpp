// SPDX-License-Identifier: Apache-2.0
#include "UIKit/Controllers/UIViewController.h"

#include "UIKit/Controllers/UINavigationController.h"
#include "UIKit/Controllers/UINavigationItem.h"
#include "UIKit/Windows/UIScreen.h"

namespace oq {

Class* UIViewController::staticClass() {
  static Class* registered = registerClass("UIViewController", Object::staticClass(),
                                           {
                                               method<&UIViewController::_viewDidLoad>(viewDidLoadSelector),
                                               method<&UIViewController::_viewWillAppear>(viewWillAppearSelector),
                                               method<&UIViewController::_viewDidAppear>(viewDidAppearSelector),
                                               method<&UIViewController::_viewWillDisappear>(viewWillDisappearSelector),
                                               method<&UIViewController::_viewDidDisappear>(viewDidDisappearSelector),
                                           });
  return registered;
}

UIViewController::UIViewController() = default;
UIViewController::~UIViewController() = default;

std::shared_ptr<UIView> UIViewController::view() {
  if (_view) return _view;
  const auto self = shared_from_this();
  _view = loadView();
  if (!_view) _view = UIViewController::loadView();
  viewDidLoad();
  return _view;
}

std::shared_ptr<UIView> UIViewController::loadView() {
  return makeMainObject<UIView>(UIScreen::mainScreen().bounds());
}

void UIViewController::setTitle(std::string title) {
  _title = std::move(title);
  navigationItem()->setTitle(_title);
}

const std::shared_ptr<UINavigationItem>& UIViewController::navigationItem() {
  if (!_navigationItem) _navigationItem = std::make_shared<UINavigationItem>();
  return _navigationItem;
}

std::shared_ptr<UINavigationController> UIViewController::navigationController() const {
  for (auto above = _parent.lock(); above; above = above->_parent.lock()) {
    if (auto navigation = std::dynamic_pointer_cast<UINavigationController>(above)) return navigation;
  }
  return nullptr;
}

}  // namespace oq
