#include "Utils/OQNavigation.h"

#include "Foundation/Device.h"
#include "UIKit/UIApplication.h"
#include "UIKit/UINavigationController.h"
#include "UIKit/UIWindow.h"

namespace oq {

namespace {

std::shared_ptr<UINavigationController> asNavigation(const std::shared_ptr<UIViewController>& screen) {
  return std::dynamic_pointer_cast<UINavigationController>(screen);
}

std::shared_ptr<UIViewController> rootOfKeyWindow() {
  auto window = OQNavigation::keyWindow();
  return window ? window->rootViewController() : nullptr;
}

/// What the screen shows in its own place; nullptr when it shows itself.
std::shared_ptr<UIViewController> screenAbove(const std::shared_ptr<UIViewController>& screen) {
  if (auto presented = screen->presentedViewController()) return presented;
  auto navigation = asNavigation(screen);
  return navigation ? navigation->topViewController() : nullptr;
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
  if (!screen) return nullptr;
  while (auto above = screenAbove(screen)) screen = above;
  return screen;
}

std::shared_ptr<UINavigationController> OQNavigation::currentNavigation() {
  return asNavigation(rootOfKeyWindow());
}

}  // namespace oq
