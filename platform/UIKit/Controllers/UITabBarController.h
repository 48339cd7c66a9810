#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "UIKit/Controllers/ContainerViewController.h"

namespace oq {

/// Pages side by side of which one is selected and shows. The first is selected unless another one is chosen.
/// Main thread only.
class UITabBarController : public ContainerViewController {
  OQ_CLASS(UITabBarController)

 public:
  using Pages = std::vector<std::shared_ptr<UIViewController>>;

  UITabBarController() = default;

  const Pages& viewControllers() const { return _pages; }
  /// Missing and repeated pages are left out. What was selected stays so if it is among the pages, else the
  /// first is.
  void setViewControllers(const Pages& pages, bool animated = false);
  /// nullptr exactly when there are no pages.
  std::shared_ptr<UIViewController> selectedViewController() const { return _selected; }
  /// Shows one of the pages, with the appearance messages; does nothing for another controller.
  void setSelectedViewController(const std::shared_ptr<UIViewController>& page);
  /// 0 without pages.
  std::size_t selectedIndex() const;
  void setSelectedIndex(std::size_t index);

 protected:
  std::shared_ptr<UIViewController> shownPage() const override { return _selected; }
  Class* containerClass() const override { return UITabBarController::staticClass(); }
  std::shared_ptr<UIView> loadView() override;

 private:
  bool has(const std::shared_ptr<UIViewController>& page) const;
  void select(const std::shared_ptr<UIViewController>& page, bool animated);

  Pages _pages;
  std::shared_ptr<UIViewController> _selected;
};

}  // namespace oq
