// SPDX-License-Identifier: Apache-2.0
#include "UIKit/Controllers/ContainerViewController.h"

#include "UIKit/Windows/UIScreen.h"

namespace oq {

std::shared_ptr<UIView> ContainerViewController::loadView() {
  return makeMainObject<PageContainer>(UIScreen::mainScreen().bounds());
}

bool ContainerViewController::isOnScreen() {
  return isViewLoaded() && view()->window();
}

void ContainerViewController::turnPage(const std::shared_ptr<UIViewController>& from,
                                       const std::shared_ptr<UIViewController>& to, bool animated) {
  const auto self = shared_from_this();
  if (!isOnScreen()) return bringInPage(false);
  if (from) from->viewWillDisappear(animated);
  if (to) to->viewWillAppear(animated);
  bringInPage(animated);
  if (from) from->viewDidDisappear(animated);
  if (to) to->viewDidAppear(animated);
}

void ContainerViewController::placePage(UIView& page) {
  page.setFrame(view()->bounds());
  page.setFillsSuperview(true);
}

/// Calls shownPage(), because code that ran for earlier messages may have changed the page.
void ContainerViewController::showPage(const std::shared_ptr<UIView>& leaving) {
  if (!isViewLoaded()) return;
  const auto shown = shownPage();
  const auto page = shown ? shown->view() : nullptr;
  const auto container = view();
  const auto others = container->subviews();
  if (page) {
    placePage(*page);
    container->addSubview(page);
  }
  for (const auto& other : others) {
    if (other != page && other != leaving && !isOwnView(*other)) other->removeFromSuperview();
  }
}

void ContainerViewController::_viewWillAppear(bool animated) {
  sendSuper(containerClass(), *this, viewWillAppearSelector, animated);
  showPage();
  if (const auto page = shownPage()) page->viewWillAppear(animated);
}

void ContainerViewController::_viewDidAppear(bool animated) {
  sendSuper(containerClass(), *this, viewDidAppearSelector, animated);
  if (const auto page = shownPage()) page->viewDidAppear(animated);
}

void ContainerViewController::_viewWillDisappear(bool animated) {
  sendSuper(containerClass(), *this, viewWillDisappearSelector, animated);
  if (const auto page = shownPage()) page->viewWillDisappear(animated);
}

void ContainerViewController::_viewDidDisappear(bool animated) {
  sendSuper(containerClass(), *this, viewDidDisappearSelector, animated);
  if (const auto page = shownPage()) page->viewDidDisappear(animated);
}

}  // namespace oq
