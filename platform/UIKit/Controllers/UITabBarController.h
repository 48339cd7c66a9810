// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "UIKit/Controllers/ContainerViewController.h"

namespace oq {

/// Several pages, of which the selected one is shown; initially the first. Main thread only.
class UITabBarController : public ContainerViewController {
  OQ_CLASS(UITabBarController)

 public:
  using Pages = std::vector<std::shared_ptr<UIViewController>>;

  UITabBarController() = default;

  const Pages& viewControllers() const { return _pages; }
  /// Ignores nullptr and repeated pages. The selected page stays selected if it is among them; otherwise the first one
  /// is selected.
  void setViewControllers(const Pages& pages, bool animated = false);
  /// nullptr if and only if there are no pages.
  std::shared_ptr<UIViewController> selectedViewController() const { return _selected; }
  /// Shows one of the pages and sends the appearance messages; has no effect for another controller.
  void setSelectedViewController(const std::shared_ptr<UIViewController>& page);
  /// 0 if there are no pages.
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
