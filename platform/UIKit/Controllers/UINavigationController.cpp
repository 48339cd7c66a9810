// SPDX-License-Identifier: Apache-2.0
#include "UIKit/Controllers/UINavigationController.h"

#include <algorithm>

#include "UIKit/Controllers/UINavigationBar.h"
#include "UIKit/Windows/UIScreen.h"

namespace oq {

namespace {

constexpr double kSlide = 0.35;  // seconds
constexpr double kShade = 0.3;   // opacity

/// The controller's view. It is a dialog while a pushed page is shown, because that page covers all of the host's
/// widgets.
class NavigationView : public PageContainer {
 public:
  explicit NavigationView(std::weak_ptr<UINavigationController> owner)
      : PageContainer(UIScreen::mainScreen().bounds()), _owner(std::move(owner)) {}

  std::string accessibilityLabel() const override {
    const auto owner = _owner.lock();
    const auto page = owner ? owner->topViewController() : nullptr;
    if (!page) return "";
    const auto title = page->navigationItem()->title();
    return title && !title->empty() ? *title : page->view()->accessibilityLabel();
  }
  bool accessibilityPerformEscape() override {
    const auto owner = _owner.lock();
    return owner && owner->popViewControllerAnimated(true);
  }
  bool accessibilityPerformBack() override {
    const auto owner = _owner.lock();
    const auto page = owner ? owner->topViewController() : nullptr;
    return (page && page->goBackInside()) || accessibilityPerformEscape();
  }

 private:
  const std::weak_ptr<UINavigationController> _owner;
};

CGRect toTheRight(CGRect rect) {
  rect.origin.x += rect.size.width;
  return rect;
}

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
  for (const auto& page : _stack) setParentOf(*page, shared_from_this());
  return makeMainObject<NavigationView>(std::static_pointer_cast<UINavigationController>(shared_from_this()));
}

const std::shared_ptr<UINavigationBar>& UINavigationController::navigationBar() {
  if (_bar) return _bar;
  _bar = makeMainObject<UINavigationBar>();
  // The bar may outlive this controller.
  _bar->onSuperviewResize = [this, weak = std::weak_ptr<UIViewController>(shared_from_this())] {
    if (const auto keepsThis = weak.lock()) layOut();
  };
  updateBar();
  return _bar;
}

bool UINavigationController::isNavigationBarHidden() const {
  return _barHidden || (!_stack.empty() && _stack.back()->hidesNavigationBar());
}

void UINavigationController::setNavigationBarHidden(bool hidden) {
  if (_barHidden == hidden) return;
  _barHidden = hidden;
  if (isViewLoaded()) layOut();
}

double UINavigationController::barHeight() const {
  return isNavigationBarHidden() ? 0 : UINavigationBar::standardHeight;
}

void UINavigationController::updateBar() {
  const bool hidden = isNavigationBarHidden();
  const double width = isViewLoaded() ? view()->bounds().size.width : UIScreen::mainScreen().bounds().size.width;
  const auto top = topViewController();
  navigationBar()->setHidden(hidden);
  _bar->setFrame(CGRectMake(0, 0, width, barHeight()));
  _bar->setTopItem(hidden || !top ? nullptr : top->navigationItem());
}

void UINavigationController::layOut() {
  if (!isViewLoaded()) return;
  if (const auto page = _shownView.lock()) placePage(*page);
  updateBar();
}

void UINavigationController::placePage(UIView& page) {
  const CGRect bounds = view()->bounds();
  const double top = barHeight();
  page.setFillsSuperview(false);
  page.setFrame(CGRectMake(0, top, bounds.size.width, std::max(0.0, bounds.size.height - top)));
}

bool UINavigationController::isOwnView(const UIView& view) const {
  return &view == _bar.get() || &view == _shade.get();
}

/// The shade is below all pages. It stops blocking touches when the last pushed page begins to leave.
void UINavigationController::updateShade() {
  const bool isNeeded = _stack.size() > 1;
  if (!_shade && isNeeded) {
    _shade = makeMainObject<UIView>(view()->bounds());
    _shade->setFillsSuperview(true);
    _shade->setFillsSurroundings(true);
    _shade->setBackgroundColor(UIColor::blackColor().withAlphaComponent(kShade));
    _shade->setAlpha(0);
    view()->insertSubview(_shade, 0);
  }
  if (!_shade) return;
  _shade->setUserInteractionEnabled(isNeeded);
  _shade->setAlpha(isNeeded ? 1 : 0);
}

void UINavigationController::showPage(const std::shared_ptr<UIView>& leaving) {
  ContainerViewController::showPage(leaving);
  if (!isViewLoaded()) return;
  const auto top = topViewController();
  _shownView = top ? top->view() : nullptr;
  view()->setAccessibilityViewIsModal(_stack.size() > 1);
  updateBar();
  view()->addSubview(_bar);
  // If a page slides, slide() updates the shade as a part of the animation.
  if (!leaving) updateShade();
}

void UINavigationController::bringInPage(bool animated) {
  ++_slides;
  const auto leaving = _shownView.lock();
  const bool barWasHidden = !_bar || _bar->isHidden();
  const auto formerItem = _bar ? _bar->topItem() : nullptr;
  const bool slides = animated && leaving && leaving->superview() == (isViewLoaded() ? view() : nullptr);
  showPage(slides ? leaving : nullptr);
  const auto page = _shownView.lock();
  if (!slides || !page || page == leaving) return;
  const bool barComesOrGoes = barWasHidden != _bar->isHidden();
  if (barComesOrGoes && _turn == Turn::Pop) {
    // The bar leaves together with the page that it belongs to.
    _bar->setHidden(false);
    _bar->setFrame(CGRectMake(0, 0, page->bounds().size.width, UINavigationBar::standardHeight));
    _bar->setTopItem(formerItem);
  }
  slide(page, leaving, barComesOrGoes);
}

/// A pushed page slides in above the former one; a popped page slides out and uncovers the one below.
void UINavigationController::slide(const std::shared_ptr<UIView>& page, const std::shared_ptr<UIView>& leaving,
                                   bool barComesOrGoes) {
  const bool isPush = _turn == Turn::Push;
  const auto moving = isPush ? page : leaving;
  const CGRect place = page->frame(), barPlace = _bar->frame();
  if (isPush) {
    page->setFrame(toTheRight(place));
    if (barComesOrGoes) _bar->setFrame(toTheRight(barPlace));
  } else {
    view()->insertSubview(page, _shade ? 1 : 0);
  }
  const auto motion = [&] {
    moving->setFrame(isPush ? place : toTheRight(leaving->frame()));
    if (barComesOrGoes) _bar->setFrame(isPush ? barPlace : toTheRight(barPlace));
    updateShade();
  };
  const auto weak = std::weak_ptr<UIViewController>(shared_from_this());
  UIView::animateWithDuration(kSlide, motion, [this, weak, leaving, number = _slides](bool) {
    const auto keepsThis = weak.lock();
    if (!keepsThis || _shownView.lock() != leaving) leaving->removeFromSuperview();
    if (keepsThis && number == _slides) updateBar();
  });
}

void UINavigationController::pushViewController(std::shared_ptr<UIViewController> controller, bool animated) {
  if (!controller || controller.get() == this) return;
  if (std::find(_stack.begin(), _stack.end(), controller) != _stack.end()) return;
  const auto self = shared_from_this();
  const auto covered = topViewController();
  _stack.push_back(controller);
  setParentOf(*controller, self);
  _turn = Turn::Push;
  turnPage(covered, controller, animated);
}

std::shared_ptr<UIViewController> UINavigationController::popViewControllerAnimated(bool animated) {
  if (_stack.size() < 2) return nullptr;
  const auto self = shared_from_this();
  const auto taken = _stack.back();
  _stack.pop_back();
  _turn = Turn::Pop;
  turnPage(taken, _stack.back(), animated);
  setParentOf(*taken, nullptr);
  return taken;
}

}  // namespace oq
