#include "UIKit/UINavigationController.h"

#include <algorithm>

namespace oq {

Class* UINavigationController::staticClass() {
  static Class* registered =
      registerClass("UINavigationController", UIViewController::staticClass(),
                    {
                        method<&UINavigationController::_viewWillAppear>(viewWillAppearSelector),
                        method<&UINavigationController::_viewDidAppear>(viewDidAppearSelector),
                        method<&UINavigationController::_viewWillDisappear>(viewWillDisappearSelector),
                        method<&UINavigationController::_viewDidDisappear>(viewDidDisappearSelector),
                    });
  return registered;
}

UINavigationController::UINavigationController(std::shared_ptr<UIViewController> root) {
  if (root) _stack.push_back(std::move(root));
}

std::shared_ptr<UIView> UINavigationController::loadView() {
  for (const auto& page : _stack) setParentOf(*page, shared_from_this());
  return ContainerViewController::loadView();
}

void UINavigationController::pushViewController(std::shared_ptr<UIViewController> controller, bool animated) {
  if (!controller || controller.get() == this) return;
  if (std::find(_stack.begin(), _stack.end(), controller) != _stack.end()) return;
  const auto self = shared_from_this();
  const auto covered = topViewController();
  _stack.push_back(controller);
  setParentOf(*controller, self);
  turnPage(covered, controller, animated);
}

std::shared_ptr<UIViewController> UINavigationController::popViewController(bool animated) {
  if (_stack.size() < 2) return nullptr;
  const auto self = shared_from_this();
  const auto taken = _stack.back();
  _stack.pop_back();
  turnPage(taken, _stack.back(), animated);
  setParentOf(*taken, nullptr);
  return taken;
}

}  // namespace oq
