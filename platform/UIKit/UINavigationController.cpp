#include "UIKit/UINavigationController.h"

#include <algorithm>

#include "UIKit/UIScreen.h"

namespace oq {

namespace {
/// Holds the page and is nothing to touch itself, so that a page without touches leaves the host's widgets in
/// reach.
class PageContainer : public UIView {
 public:
  using UIView::UIView;
  std::shared_ptr<UIView> hitTest(CGPoint point) override {
    auto hit = UIView::hitTest(point);
    return hit.get() == this ? nullptr : hit;
  }
};
}  // namespace

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
  auto container = makeMainObject<PageContainer>(UIScreen::mainScreen().bounds());
  for (const auto& page : _stack) setParentOf(*page, shared_from_this());
  return container;
}

void UINavigationController::pushViewController(std::shared_ptr<UIViewController> controller, bool animated) {
  if (!controller || controller.get() == this) return;
  if (std::find(_stack.begin(), _stack.end(), controller) != _stack.end()) return;
  const auto self = shared_from_this();
  const auto covered = topViewController();
  _stack.push_back(controller);
  setParentOf(*controller, self);
  if (covered) turnPage(*covered, *controller, animated);
}

std::shared_ptr<UIViewController> UINavigationController::popViewController(bool animated) {
  if (_stack.size() < 2) return nullptr;
  const auto self = shared_from_this();
  const auto taken = _stack.back();
  _stack.pop_back();
  const auto uncovered = _stack.back();
  turnPage(*taken, *uncovered, animated);
  setParentOf(*taken, nullptr);
  return taken;
}

void UINavigationController::turnPage(UIViewController& from, UIViewController& to, bool animated) {
  if (!isOnScreen()) return showTop();
  from.viewWillDisappear(animated);
  to.viewWillAppear(animated);
  showTop();
  from.viewDidDisappear(animated);
  to.viewDidAppear(animated);
}

bool UINavigationController::isOnScreen() {
  return isViewLoaded() && view()->window();
}

/// Looks at the stack as it is now, since the messages before may have pushed or popped.
void UINavigationController::showTop() {
  const auto top = topViewController();
  if (!isViewLoaded() || !top) return;
  const auto container = view();
  const auto page = top->view();
  const auto others = container->subviews();
  page->setFrame(container->bounds());
  page->setFillsSuperview(true);
  container->addSubview(page);
  for (const auto& other : others) {
    if (other != page) other->removeFromSuperview();
  }
}

void UINavigationController::_viewWillAppear(bool animated) {
  sendSuper(staticClass(), *this, viewWillAppearSelector, animated);
  showTop();
  if (const auto top = topViewController()) top->viewWillAppear(animated);
}

void UINavigationController::_viewDidAppear(bool animated) {
  sendSuper(staticClass(), *this, viewDidAppearSelector, animated);
  if (const auto top = topViewController()) top->viewDidAppear(animated);
}

void UINavigationController::_viewWillDisappear(bool animated) {
  sendSuper(staticClass(), *this, viewWillDisappearSelector, animated);
  if (const auto top = topViewController()) top->viewWillDisappear(animated);
}

void UINavigationController::_viewDidDisappear(bool animated) {
  sendSuper(staticClass(), *this, viewDidDisappearSelector, animated);
  if (const auto top = topViewController()) top->viewDidDisappear(animated);
}

}  // namespace oq
