// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <vector>

#include "UIKit/Controllers/UIViewController.h"
#include "UIKit/Windows/UIWindow.h"

namespace oq {

namespace {

constexpr double kTurnDuration = 0.35;

CGRect below(CGRect bounds) {
  return CGRectMake(bounds.minX(), bounds.maxY(), bounds.size.width, bounds.size.height);
}

std::shared_ptr<UIWindow> windowOf(UIViewController& controller) {
  UIWindow* window = controller.isViewLoaded() ? controller.view()->window() : nullptr;
  return window ? std::static_pointer_cast<UIWindow>(window->shared_from_this()) : nullptr;
}

}  // namespace

std::shared_ptr<UIViewController> UIViewController::outermost() {
  auto controller = shared_from_this();
  while (auto above = controller->_parent.lock()) controller = above;
  return controller;
}

std::shared_ptr<UIViewController> UIViewController::presentedViewController() const {
  if (_presented) return _presented;
  const auto above = _parent.lock();
  return above ? above->presentedViewController() : nullptr;
}

std::shared_ptr<UIViewController> UIViewController::presentingViewController() const {
  if (auto presenting = _presenting.lock()) return presenting;
  const auto above = _parent.lock();
  return above ? above->presentingViewController() : nullptr;
}

void UIViewController::presentViewController(const std::shared_ptr<UIViewController>& controller, bool animated,
                                             std::function<void()> completion) {
  const auto presenter = outermost();
  const auto window = windowOf(*presenter);
  if (!controller || !window || presenter->_presented || controller->outermost() == presenter) return;
  if (controller->_parent.lock() || controller->_presenting.lock() || windowOf(*controller)) return;
  const bool covers = controller->isPresentedFullScreen();
  const bool dissolves = controller->_transitionStyle == UIModalTransitionStyle::CrossDissolve;
  presenter->_presented = controller;
  controller->_presenting = presenter;

  const auto page = controller->view();
  page->setFillsSuperview(true);
  page->setFrame(window->bounds());
  if (dissolves) page->setAlpha(1);
  if (animated) controller->placeOffScreen(*window);
  if (covers) presenter->viewWillDisappear(animated);
  controller->viewWillAppear(animated);
  // Code that ran for one of these messages may have dismissed the controller.
  if (presenter->_presented != controller) return completion ? completion() : void();
  window->addSubview(page);
  if (covers) {
    presenter->view()->removeFromSuperview();
    presenter->viewDidDisappear(animated);
  }
  controller->viewDidAppear(animated);
  if (!animated) return completion ? completion() : void();
  UIView::animateWithDuration(
      kTurnDuration,
      [&] {
        page->setFrame(window->bounds());
        if (dissolves) page->setAlpha(1);
      },
      [completion = std::move(completion)](bool) {
        if (completion) completion();
      });
}

void UIViewController::dismissViewControllerAnimated(bool animated, std::function<void()> completion) {
  const auto self = shared_from_this();
  auto presenter = presentedViewController() ? outermost() : presentingViewController();
  while (presenter && !presenter->_presented) presenter = presenter->_parent.lock();
  if (presenter) return presenter->takeAwayPresented(animated, std::move(completion));
  if (completion) completion();
}

void UIViewController::takeAwayPresented(bool animated, std::function<void()> completion) {
  const auto self = shared_from_this();
  // The links are cleared first, so that a page that dismisses itself while it disappears finds nothing to dismiss.
  std::vector<std::shared_ptr<UIViewController>> pages;
  for (auto page = std::move(_presented); page; page = std::move(page->_presented)) {
    page->_presenting.reset();
    pages.push_back(page);
  }
  std::reverse(pages.begin(), pages.end());  // top-most first
  const auto covering =
      std::find_if(pages.begin(), pages.end(), [](const auto& page) { return page->isPresentedFullScreen(); });
  const bool wasCovered = covering != pages.end();
  const auto visibleEnd = wasCovered ? covering + 1 : pages.end();

  for (auto page = pages.begin(); page != visibleEnd; ++page) (*page)->viewWillDisappear(animated);
  if (wasCovered) viewWillAppear(animated);
  const auto window = windowOf(*pages.front());
  if (window && wasCovered) putBackInto(*window, *pages.front()->view());
  const bool turns = animated && window;
  for (const auto& page : pages) {
    const bool staysForNow = turns && page == pages.front();
    if (page->isViewLoaded() && !staysForNow) page->view()->removeFromSuperview();
  }
  for (auto page = pages.begin(); page != visibleEnd; ++page) (*page)->viewDidDisappear(animated);
  if (wasCovered) viewDidAppear(animated);
  if (turns) return pages.front()->turnOut(std::move(completion));
  if (completion) completion();
}

/// Adds the view to the window again: the view of the root controller below all others, any other view directly below
/// `above`.
void UIViewController::putBackInto(UIWindow& window, const UIView& above) {
  const auto& views = window.subviews();
  const auto found = std::find_if(views.begin(), views.end(), [&](const auto& v) { return v.get() == &above; });
  const bool isRoot = window.rootViewController().get() == this;
  view()->setFrame(window.bounds());
  window.insertSubview(view(), isRoot ? 0 : static_cast<std::size_t>(found - views.begin()));
}

void UIViewController::placeOffScreen(UIWindow& window) {
  if (_transitionStyle == UIModalTransitionStyle::CrossDissolve) {
    view()->setAlpha(0);
  } else {
    view()->setFrame(below(window.bounds()));
  }
}

void UIViewController::turnOut(std::function<void()> completion) {
  const auto page = view();
  const auto go = [&] {
    if (const auto window = windowOf(*this)) placeOffScreen(*window);
  };
  const auto end = [self = shared_from_this(), page, completion = std::move(completion)](bool) {
    // The controller may have been presented again while the animation ran.
    if (!self->_presenting.lock()) page->removeFromSuperview();
    if (completion) completion();
  };
  UIView::animateWithDuration(kTurnDuration, go, end);
}

}  // namespace oq
