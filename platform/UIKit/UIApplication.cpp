#include "UIKit/UIApplication.h"

#include <algorithm>

#include "UIKit/Animation.h"
#include "UIKit/UINavigationController.h"

namespace oq {

// Never destroyed: views with static storage end their animations when the process ends.
UIApplication& UIApplication::sharedApplication() {
  static auto& application = *new UIApplication;
  return application;
}

void UIApplication::disconnectScene(const std::shared_ptr<UIScene>& scene) {
  std::erase(_scenes, scene);
}

std::shared_ptr<UIWindow> UIApplication::keyWindow() const {
  if (_scenes.empty() || _scenes.front()->windows().empty()) return nullptr;
  return _scenes.front()->windows().front();
}

void UIApplication::step(double now) {
  auto& engine = AnimationEngine::shared();
  if (!engine.isRunning()) return;
  // Also a window whose animation ends now needs a frame: the last one.
  std::vector<UIWindow*> windows;
  for (const UIView* view : engine.views()) {
    UIWindow* window = view->window();
    if (window && std::find(windows.begin(), windows.end(), window) == windows.end())
      windows.push_back(window);
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
/// Stands for the host's own widgets: the bar comes with the first page above them.
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
