// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "UIKit/Controllers/ContainerViewController.h"

namespace oq {

class UINavigationBar;

/// A stack of pages that shows the top one, below a bar with its title and left item. With animation, a pushed page
/// slides in from the right and a popped page slides out to the right. The stack changes and the appearance messages
/// are sent immediately, not after the animation. A pushed page is a dialog for keyboard and assistive technology, and
/// Escape pops it. Main thread only.
class UINavigationController : public ContainerViewController {
  OQ_CLASS(UINavigationController)

 public:
  /// The root gets its parent when this controller's view is loaded.
  explicit UINavigationController(std::shared_ptr<UIViewController> root);

  const std::vector<std::shared_ptr<UIViewController>>& viewControllers() const { return _stack; }
  std::shared_ptr<UIViewController> topViewController() const { return _stack.empty() ? nullptr : _stack.back(); }
  /// Shows the page above the others and sends the appearance messages.
  void pushViewController(std::shared_ptr<UIViewController> controller, bool animated);
  /// Removes the top page and returns it; nullptr if only one page is left, which stays.
  std::shared_ptr<UIViewController> popViewControllerAnimated(bool animated);
  const std::shared_ptr<UINavigationBar>& navigationBar();
  /// Also true while the top page hides the bar. A hidden bar has no height, and pages use its space.
  bool isNavigationBarHidden() const;
  void setNavigationBarHidden(bool hidden);

 protected:
  std::shared_ptr<UIViewController> shownPage() const override { return topViewController(); }
  Class* containerClass() const override { return UINavigationController::staticClass(); }
  std::shared_ptr<UIView> loadView() override;
  void showPage(const std::shared_ptr<UIView>& leaving = nullptr) override;
  void placePage(UIView& page) override;
  bool isOwnView(const UIView& view) const override;
  void updateShade();
  void bringInPage(bool animated) override;

 private:
  enum class Turn { Push, Pop };
  double barHeight() const;
  void updateBar();
  void layOut();
  void slide(const std::shared_ptr<UIView>& page, const std::shared_ptr<UIView>& leaving, bool barComesOrGoes);

  std::vector<std::shared_ptr<UIViewController>> _stack;
  std::shared_ptr<UINavigationBar> _bar;
  std::shared_ptr<UIView> _shade;  ///< dims and blocks the area that pushed pages leave uncovered
  std::weak_ptr<UIView> _shownView;
  Turn _turn = Turn::Push;    ///< whether the last change pushed or popped a page
  std::uint64_t _slides = 0;  ///< identifies the last slide
  bool _barHidden = false;
};

}  // namespace oq
