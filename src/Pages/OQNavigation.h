// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

namespace oq {

class UINavigationController;
class UIView;
class UIViewController;
class UIWindow;

/// The screens that are shown now, and so where to present. Main thread only; results are nullptr if there is none.
class OQNavigation {
 public:
  /// The first window of the first scene that is foreground active; before system version 13, the application's key
  /// window.
  static std::shared_ptr<UIWindow> keyWindow();
  /// The top-most screen: presented screens first, then the top of a navigation stack, then the selected tab.
  static std::shared_ptr<UIViewController> currentViewController();
  /// The window's root if it is a navigation controller, or else that of the root's selected tab. Presented screens are
  /// not considered.
  static std::shared_ptr<UINavigationController> currentNavigation();
  /// The first web view among the direct subviews of the current screen's view; loads that view.
  static std::shared_ptr<UIView> currentWebview();
};

}  // namespace oq
