#pragma once

#include <memory>

#include "UIKit/Controllers/UIViewController.h"

namespace oq {

/// Holds a page and takes no touches itself, so that a page without touches leaves the host's widgets in reach.
class PageContainer : public UIView {
 public:
  using UIView::UIView;
  std::shared_ptr<UIView> hitTest(CGPoint point) override {
    auto hit = UIView::hitTest(point);
    return hit.get() == this ? nullptr : hit;
  }
};

/// What controllers have in common that show one page of several: its view fills theirs, it gets their
/// appearance messages, and a change from one page to another is told to both. At run time it is no class of
/// its own. Main thread only.
class ContainerViewController : public UIViewController {
 protected:
  /// The page to show; nullptr when there is none.
  virtual std::shared_ptr<UIViewController> shownPage() const = 0;
  /// The registered class whose methods the messages below are.
  virtual Class* containerClass() const = 0;

  std::shared_ptr<UIView> loadView() override;
  void _viewWillAppear(bool animated);
  void _viewDidAppear(bool animated);
  void _viewWillDisappear(bool animated);
  void _viewDidDisappear(bool animated);

  /// The appearance messages around the change from one page to another; either may be nullptr. Silent off
  /// screen.
  void turnPage(const std::shared_ptr<UIViewController>& from, const std::shared_ptr<UIViewController>& to,
                bool animated);
  /// Makes the page's view the only page shown; `leaving` may stay below or above it for now.
  virtual void showPage(const std::shared_ptr<UIView>& leaving = nullptr);
  /// Puts the page into its place; by default it fills the controller's view.
  virtual void placePage(UIView& page);
  /// A view among the pages that is none.
  virtual bool isOwnView(const UIView&) const { return false; }
  /// Brings the page on screen; by default at once.
  virtual void bringInPage(bool) { showPage(); }
  bool isOnScreen();
};

}  // namespace oq
