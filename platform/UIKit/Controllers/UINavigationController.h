#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "UIKit/Controllers/ContainerViewController.h"

namespace oq {

class UINavigationBar;

/// A stack of pages of which the top one shows, below a bar with its title and left item. An animated page
/// slides in from the right, or out to it; the stack and the appearance messages are done with at once. A pushed
/// page is a dialog to keyboard and assistive technology, and Escape leaves it. Main thread only.
class UINavigationController : public ContainerViewController {
  OQ_CLASS(UINavigationController)

 public:
  /// The root learns of its parent when this controller's view is loaded.
  explicit UINavigationController(std::shared_ptr<UIViewController> root);

  const std::vector<std::shared_ptr<UIViewController>>& viewControllers() const { return _stack; }
  std::shared_ptr<UIViewController> topViewController() const { return _stack.empty() ? nullptr : _stack.back(); }
  /// Shows the page above the others and sends the appearance messages.
  void pushViewController(std::shared_ptr<UIViewController> controller, bool animated);
  /// Takes the top page away; the last one stays. Returns what was taken, nullptr when nothing was.
  std::shared_ptr<UIViewController> popViewControllerAnimated(bool animated);
  const std::shared_ptr<UINavigationBar>& navigationBar();
  /// True also while the top page wants no bar. A hidden bar has no height, and pages lie where it was.
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
  std::shared_ptr<UIView> _shade;  ///< dims and blocks what pages above the first leave uncovered
  std::weak_ptr<UIView> _shownView;
  Turn _turn = Turn::Push;    ///< what the page that is brought in next came by
  std::uint64_t _slides = 0;  ///< tells the last slide from earlier ones
  bool _barHidden = false;
};

}  // namespace oq
