#pragma once

#include <memory>
#include <vector>

#include "UIKit/ContainerViewController.h"

namespace oq {

/// A stack of pages of which the top one shows. Main thread only.
class UINavigationController : public ContainerViewController {
  OQ_CLASS(UINavigationController)

 public:
  /// The root learns of its parent when this controller's view is loaded.
  explicit UINavigationController(std::shared_ptr<UIViewController> root);

  const std::vector<std::shared_ptr<UIViewController>>& viewControllers() const { return _stack; }
  std::shared_ptr<UIViewController> topViewController() const {
    return _stack.empty() ? nullptr : _stack.back();
  }
  /// Shows the page above the others and sends the appearance messages. The view takes all of this
  /// controller's view.
  void pushViewController(std::shared_ptr<UIViewController> controller, bool animated);
  /// Takes the top page away; the last one stays. Returns what was taken, nullptr when nothing was.
  std::shared_ptr<UIViewController> popViewController(bool animated);
  bool isNavigationBarHidden() const { return _barHidden; }
  void setNavigationBarHidden(bool hidden) { _barHidden = hidden; }

 protected:
  std::shared_ptr<UIViewController> shownPage() const override { return topViewController(); }
  Class* containerClass() const override { return UINavigationController::staticClass(); }
  std::shared_ptr<UIView> loadView() override;

 private:
  std::vector<std::shared_ptr<UIViewController>> _stack;
  bool _barHidden = false;
};

}  // namespace oq
