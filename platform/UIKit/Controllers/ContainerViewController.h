// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "UIKit/Controllers/UIViewController.h"

namespace oq {

/// Contains a page and ignores touches itself, so that the host's widgets behind a page that ignores touches stay
/// usable.
class PageContainer : public UIView {
 public:
  using UIView::UIView;
  std::shared_ptr<UIView> hitTest(CGPoint point) override {
    auto hit = UIView::hitTest(point);
    return hit.get() == this ? nullptr : hit;
  }
};

/// The common base of controllers that show one of several pages. The shown page fills the controller's view and
/// receives the controller's appearance messages. When another page is shown, both pages receive their own messages.
/// This class is not registered at run time. Main thread only.
class ContainerViewController : public UIViewController {
 protected:
  /// The page to show; nullptr if there is none.
  virtual std::shared_ptr<UIViewController> shownPage() const = 0;
  /// The registered class that has the methods below.
  virtual Class* containerClass() const = 0;

  std::shared_ptr<UIView> loadView() override;
  void _viewWillAppear(bool animated);
  void _viewDidAppear(bool animated);
  void _viewWillDisappear(bool animated);
  void _viewDidDisappear(bool animated);

  /// Sends the appearance messages around a change of pages; either page may be nullptr. Sends nothing if the
  /// controller is off screen.
  void turnPage(const std::shared_ptr<UIViewController>& from, const std::shared_ptr<UIViewController>& to,
                bool animated);
  /// Shows only this page's view; `leaving` may stay in the tree until its animation has ended.
  virtual void showPage(const std::shared_ptr<UIView>& leaving = nullptr);
  /// Lays out the page; by default it fills the controller's view.
  virtual void placePage(UIView& page);
  /// Whether a subview belongs to the controller and is not a page.
  virtual bool isOwnView(const UIView&) const { return false; }
  /// Puts the page on screen; by default immediately.
  virtual void bringInPage(bool) { showPage(); }
  bool isOnScreen();
};

}  // namespace oq
