// SPDX-License-Identifier: Apache-2.0
#include "UIKit/Windows/UIApplication.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "UIKit/Controllers/UINavigationController.h"
#include "UIKit/Views/Animation.h"

namespace oq {

// Never destroyed, because views with static storage duration need it at process exit to end their animations.
UIApplication& UIApplication::sharedApplication() {
  static auto& application = *new UIApplication;
  return application;
}

void UIApplication::connectScene(std::shared_ptr<UIScene> scene) {
  scene->_connection = ++_connections;
  _scenes.push_back(std::move(scene));
  scenesChanged();
}

void UIApplication::disconnectScene(const std::shared_ptr<UIScene>& scene) {
  if (std::erase(_scenes, scene) == 0) return;
  scene->_state = UISceneActivationState::Unattached;
  scenesChanged();
}

void UIApplication::setSceneVisibility(UIScene& scene, UISceneVisibility visibility) {
  if (scene._visibility == visibility) return;
  scene._visibility = visibility;
  scenesChanged();
}

void UIApplication::sceneWasUsed(UIScene& scene) {
  if (scene._lastUse == _uses && _uses > 0) return;
  scene._lastUse = ++_uses;
  scenesChanged();
}

void UIApplication::scenesChanged() {
  std::sort(_scenes.begin(), _scenes.end(), [](const auto& first, const auto& second) {
    return std::tuple(second->wasMapped(), second->_lastUse, first->_connection) <
           std::tuple(first->wasMapped(), first->_lastUse, second->_connection);
  });
  const bool anyWasMapped = !_scenes.empty() && _scenes.front()->wasMapped();
  const bool anyIsOnScreen = std::any_of(_scenes.begin(), _scenes.end(), [](const auto& scene) {
    return scene->_visibility == UISceneVisibility::OnScreen;
  });
  for (const auto& scene : _scenes) {
    const bool isHeldBack = scene->_visibility == UISceneVisibility::HeldBack && anyIsOnScreen;
    const bool isActive = (scene->isMapped() && !isHeldBack) || !anyWasMapped;
    scene->_state = isActive ? UISceneActivationState::ForegroundActive : UISceneActivationState::Background;
  }
  const bool hasReturned = hasReturnedToForeground();
  if (_host) _host->scenesChanged();
  // Copies, because an observer may set another one.
  if (const auto observer = _scenesObserver) observer();
  if (const auto observer = hasReturned ? _foregroundObserver : nullptr) observer();
}

bool UIApplication::hasReturnedToForeground() {
  const bool isInForeground = std::any_of(_scenes.begin(), _scenes.end(), [](const auto& scene) {
    return scene->wasMapped() && scene->_state == UISceneActivationState::ForegroundActive;
  });
  const bool hasReturned = isInForeground && !_isInForeground && _wasInForeground;
  _isInForeground = isInForeground;
  _wasInForeground = _wasInForeground || isInForeground;
  return hasReturned;
}

bool UIApplication::isOnScreen(const UIWindow& window) const {
  return std::any_of(_scenes.begin(), _scenes.end(), [&](const auto& scene) {
    const auto& windows = scene->_windows;
    return scene->_visibility == UISceneVisibility::OnScreen &&
           std::any_of(windows.begin(), windows.end(), [&](const auto& each) { return each.get() == &window; });
  });
}

std::shared_ptr<UIWindow> UIApplication::keyWindow() const {
  if (_scenes.empty() || _scenes.front()->windows().empty()) return nullptr;
  return _scenes.front()->windows().front();
}

void UIApplication::step(double now) {
  auto& engine = AnimationEngine::shared();
  if (!engine.isRunning()) return;
  // A window whose animation ends now needs one more frame.
  std::vector<UIWindow*> windows;
  for (const UIView* view : engine.views()) {
    UIWindow* window = view->window();
    if (window && std::find(windows.begin(), windows.end(), window) == windows.end()) windows.push_back(window);
  }
  engine.step(now);
  for (UIWindow* window : windows) windowNeedsFrame(*window);
  animationsChanged();
}

void UIApplication::windowNeedsFrame(UIWindow& window) {
  if (_host) _host->setNeedsFrame(window);
}

void UIApplication::animationsChanged() {
  if (_host) _host->setDeadline(AnimationEngine::shared().nextDeadline());
}

namespace {
/// The root page, which represents the host's own widgets. It hides the navigation bar; a page that is pushed above it
/// can show the bar.
class HostPage : public UIViewController {
 public:
  bool hidesNavigationBar() const override { return true; }
};
}  // namespace

std::shared_ptr<UIWindow> makeHostWindow(CGRect frame) {
  const std::shared_ptr<UIViewController> root = makeMainObject<HostPage>();
  const auto navigation = makeMainObject<UINavigationController>(root);
  root->view()->setUserInteractionEnabled(false);
  auto window = makeMainObject<UIWindow>(frame);
  window->setRootViewController(navigation);
  return window;
}

}  // namespace oq
