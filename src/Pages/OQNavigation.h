#pragma once

#include <memory>

namespace oq {

class UINavigationController;
class UIView;
class UIViewController;
class UIWindow;

/// What is on screen now, and so where to present. Main thread only; nullptr where there is nothing.
class OQNavigation {
 public:
  /// The first window of the first scene that is active in the foreground; before system version 13, the
  /// application's key window.
  static std::shared_ptr<UIWindow> keyWindow();
  /// The top-most screen: presented screens first, then the top of a navigation stack, then the selected tab.
  static std::shared_ptr<UIViewController> currentViewController();
  /// The window's root, if that is a navigation controller, or that of the root's selected tab. Presented
  /// screens are not followed.
  static std::shared_ptr<UINavigationController> currentNavigation();
  /// The first web view among the direct subviews of the current screen's view, whose view this loads.
  static std::shared_ptr<UIView> currentWebview();
};

}  // namespace oq
