// SPDX-License-Identifier: Apache-2.0
#include "Pages/OQNavigation.h"

#include <optional>

#include "Foundation/System/Device.h"
#include "UIKit/Controllers/UINavigationController.h"
#include "UIKit/Controllers/UITabBarController.h"
#include "UIKit/Windows/UIApplication.h"
#include "UIKit/Windows/UIWindow.h"

namespace oq {

namespace {

std::shared_ptr<UINavigationController> asNavigation(const std::shared_ptr<UIViewController>& screen) {
  return std::dynamic_pointer_cast<UINavigationController>(screen);
}

std::shared_ptr<UITabBarController> asTabBar(const std::shared_ptr<UIViewController>& screen) {
  return std::dynamic_pointer_cast<UITabBarController>(screen);
}

std::shared_ptr<UIViewController> rootOfKeyWindow() {
  auto window = OQNavigation::keyWindow();
  return window ? window->rootViewController() : nullptr;
}

/// The screen that `screen` presents or contains; nullopt if `screen` itself is shown. A tab-bar controller never
/// counts as shown: without a selected tab the result contains nullptr.
std::optional<std::shared_ptr<UIViewController>> screenAbove(const std::shared_ptr<UIViewController>& screen) {
  if (auto presented = screen->presentedViewController()) return presented;
  if (auto navigation = asNavigation(screen)) {
    auto top = navigation->topViewController();
    return top ? std::optional(top) : std::nullopt;
  }
  auto tabs = asTabBar(screen);
  if (!tabs) return std::nullopt;
  auto selected = tabs->selectedViewController();
  auto stack = asNavigation(selected);
  // Intentional: the search continues at the top of the stack. A screen that the navigation controller presents is not
  // found.
  return stack ? stack->topViewController() : selected;
}

bool isWebView(const UIView& view) {
  // Looks up the class by its name: it is registered only when it is first used, and until then no view can be of it.
  for (const char* name : {"UIWebView", "WKWebView"}) {
    const Class* kind = NSClassFromString(name);
    if (kind && view.isKindOfClass(kind)) return true;
  }
  return false;
}

}  // namespace

std::shared_ptr<UIWindow> OQNavigation::keyWindow() {
  UIApplication& application = UIApplication::sharedApplication();
  if (platformSystemVersion() < 13.0) return application.keyWindow();
  for (const auto& scene : application.connectedScenes()) {
    if (scene->activationState() != UISceneActivationState::ForegroundActive) continue;
    return scene->windows().empty() ? nullptr : scene->windows().front();
  }
  return nullptr;
}

std::shared_ptr<UIViewController> OQNavigation::currentViewController() {
  auto screen = rootOfKeyWindow();
  while (screen) {
    auto above = screenAbove(screen);
    if (!above) break;
    screen = *above;
  }
  return screen;
}

std::shared_ptr<UINavigationController> OQNavigation::currentNavigation() {
  auto root = rootOfKeyWindow();
  if (auto navigation = asNavigation(root)) return navigation;
  auto tabs = asTabBar(root);
  auto selected = tabs ? tabs->selectedViewController() : nullptr;
  if (auto navigation = asNavigation(selected)) return navigation;
  return selected ? selected->navigationController() : nullptr;
}

std::shared_ptr<UIView> OQNavigation::currentWebview() {
  auto screen = currentViewController();
  if (!screen) return nullptr;
  for (const auto& view : screen->view()->subviews()) {
    if (isWebView(*view)) return view;
  }
  return nullptr;
}

}  // namespace oq
