// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

namespace oq {

class UINavigationController;
class UIView;
class UIViewController;
class UIWindow;

/// Finds the screens (view controllers) that are shown now, for example to present another screen from them. Main
/// thread only. Each function returns nullptr if it finds nothing.
class OQNavigation {
 public:
  /// The first window of the first scene that is foreground active; if platformSystemVersion() is less than 13, the
  /// application's key window.
  static std::shared_ptr<UIWindow> keyWindow();
  /// The top-most screen: presented screens first, then the top of a navigation stack, then the selected tab.
  static std::shared_ptr<UIViewController> currentViewController();
  /// The root controller of keyWindow() if it is a navigation controller, or else the navigation controller of the
  /// root's selected tab. Presented screens are not considered.
  static std::shared_ptr<UINavigationController> currentNavigation();
  /// The first web view among the direct subviews of the current screen's view. Loads the screen's view if necessary.
  static std::shared_ptr<UIView> currentWebview();
};

}  // namespace oq
