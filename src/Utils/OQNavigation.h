#pragma once

#include <memory>

namespace oq {

class UINavigationController;
class UIViewController;
class UIWindow;

/// What is on screen now, and so where to present. Main thread only; nullptr where there is nothing.
class OQNavigation {
 public:
  /// The first window of the first scene that is active in the foreground.
  static std::shared_ptr<UIWindow> keyWindow();
  /// The top-most screen: presented screens first, then the top of a navigation stack.
  static std::shared_ptr<UIViewController> currentViewController();
  /// The window's root, if that is a navigation controller. Presented screens are not followed.
  static std::shared_ptr<UINavigationController> currentNavigation();
};

}  // namespace oq
