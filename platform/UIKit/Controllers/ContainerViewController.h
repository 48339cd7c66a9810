// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "UIKit/Controllers/UIViewController.h"

namespace oq {

/// The view that contains a page. It ignores touches itself: if its page ignores touches too, the host's widgets behind
/// them stay usable.
class PageContainer : public UIView {
 public:
  using UIView::UIView;
  std::shared_ptr<UIView> hitTest(CGPoint point) override {
    auto hit = UIView::hitTest(point);
    return hit.get() == this ? nullptr : hit;
  }
};

/// The common base of controllers that show one of several pages. The shown page fills the controller's view and
/// receives the controller's appearance messages. When another page replaces the shown one, both pages receive
/// appearance messages. This class is not registered with the class runtime; its subclasses are. Main thread only.
class ContainerViewController : public UIViewController {
 protected:
  /// The page to show; nullptr if there is none.
  virtual std::shared_ptr<UIViewController> shownPage() const = 0;
  /// The registered class that has the appearance methods below; they pass it to sendSuper().
  virtual Class* containerClass() const = 0;

  std::shared_ptr<UIView> loadView() override;
  void _viewWillAppear(bool animated);
  void _viewDidAppear(bool animated);
  void _viewWillDisappear(bool animated);
  void _viewDidDisappear(bool animated);

  /// Calls bringInPage() after a change of pages, and sends the appearance messages of both pages before and after
  /// that. Either page may be nullptr. If the controller is off screen, no messages are sent.
  void turnPage(const std::shared_ptr<UIViewController>& from, const std::shared_ptr<UIViewController>& to,
                bool animated);
  /// Shows the view of shownPage() and removes the views of other pages, except `leaving`, which stays until its
  /// animation has ended.
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
