// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "UIKit/Views/UIView.h"
#include "oqsdk/Export.h"
#include "oqsdk/Runtime.h"

namespace oq {

class UINavigationController;
class UINavigationItem;

enum class UIModalPresentationStyle : int { FullScreen = 0, OverFullScreen = 5 };
/// The animation of a presented page: it slides from below, or fades.
enum class UIModalTransitionStyle : int { CoverVertical = 0, CrossDissolve = 2 };

inline const Selector<void()> viewDidLoadSelector{"viewDidLoad"};
inline const Selector<void(bool)> viewWillAppearSelector{"viewWillAppear:"};
inline const Selector<void(bool)> viewDidAppearSelector{"viewDidAppear:"};
inline const Selector<void(bool)> viewWillDisappearSelector{"viewWillDisappear:"};
inline const Selector<void(bool)> viewDidDisappearSelector{"viewDidDisappear:"};

/// One page: a view that is created on first use, and messages when it appears and disappears. The messages are sent
/// through the class runtime, so that a replaced implementation is called. Main thread only.
class OQSDK_EXPORT UIViewController : public Object, public std::enable_shared_from_this<UIViewController> {
  OQ_CLASS(UIViewController)

 public:
  UIViewController();
  ~UIViewController() override;

  /// Loads the view at the first call, then sends viewDidLoad, once.
  std::shared_ptr<UIView> view();
  bool isViewLoaded() const { return _view != nullptr; }

  // These functions send messages. A subclass registers its own method for the selector and calls its superclass with
  // sendSuper().
  void viewDidLoad() { send(*this, viewDidLoadSelector); }
  void viewWillAppear(bool animated) { send(*this, viewWillAppearSelector, animated); }
  void viewDidAppear(bool animated) { send(*this, viewDidAppearSelector, animated); }
  void viewWillDisappear(bool animated) { send(*this, viewWillDisappearSelector, animated); }
  void viewDidDisappear(bool animated) { send(*this, viewDidDisappearSelector, animated); }

  const std::string& title() const { return _title; }
  /// Also sets the title in the navigation bar.
  void setTitle(std::string title);
  /// What the bar of a navigation controller shows for this page.
  const std::shared_ptr<UINavigationItem>& navigationItem();
  /// True for a page that a navigation controller shows without its bar.
  virtual bool hidesNavigationBar() const { return false; }
  /// Goes back inside the page, like a browser's back button. False if there is nothing to go back to.
  virtual bool goBackInside() { return false; }

  std::shared_ptr<UIViewController> parentViewController() const { return _parent.lock(); }
  /// The nearest enclosing navigation controller; nullptr if there is none.
  std::shared_ptr<UINavigationController> navigationController() const;

  /// Shows `controller` above everything in this controller's window. The presenter is the outermost controller that
  /// contains this one. If the presenter is off screen or already presents another controller, or if `controller` is
  /// already shown or has a parent, nothing happens and the completion is dropped. Otherwise the completion is called
  /// once: when the animation has ended, or immediately without animation.
  void presentViewController(const std::shared_ptr<UIViewController>& controller, bool animated,
                             std::function<void()> completion = nullptr);
  /// Removes the controller that this one presents, and all that are presented on top of it. If this one presents none,
  /// it is itself removed. The completion is called once: when the animation has ended, or immediately if there is no
  /// animation or nothing to remove.
  void dismissViewControllerAnimated(bool animated, std::function<void()> completion = nullptr);
  /// The controller that this one or an enclosing one presents.
  std::shared_ptr<UIViewController> presentedViewController() const;
  /// The controller that presents this one or an enclosing one.
  std::shared_ptr<UIViewController> presentingViewController() const;
  UIModalPresentationStyle modalPresentationStyle() const { return _presentationStyle; }
  /// With FullScreen the presenting page disappears. With OverFullScreen it stays visible below and receives no
  /// messages. Read when the controller is presented.
  void setModalPresentationStyle(UIModalPresentationStyle style) { _presentationStyle = style; }
  UIModalTransitionStyle modalTransitionStyle() const { return _transitionStyle; }
  void setModalTransitionStyle(UIModalTransitionStyle style) { _transitionStyle = style; }

 protected:
  virtual std::shared_ptr<UIView> loadView();
  void setParent(const std::shared_ptr<UIViewController>& parent) { _parent = parent; }
  static void setParentOf(UIViewController& child, const std::shared_ptr<UIViewController>& parent) {
    child._parent = parent;
  }

 private:
  void _viewDidLoad() {}
  void _viewWillAppear(bool) {}
  void _viewDidAppear(bool) {}
  void _viewWillDisappear(bool) {}
  void _viewDidDisappear(bool) {}

  bool isPresentedFullScreen() const { return _presentationStyle == UIModalPresentationStyle::FullScreen; }
  /// The outermost controller that contains this one.
  std::shared_ptr<UIViewController> outermost();
  void putBackInto(UIWindow& window, const UIView& above);
  void takeAwayPresented(bool animated, std::function<void()> completion);
  /// Puts the page where the opening animation begins and the closing animation ends: below the window, or transparent.
  void placeOffScreen(UIWindow& window);
  void turnOut(std::function<void()> completion);

  std::shared_ptr<UIView> _view;
  std::string _title;
  std::shared_ptr<UINavigationItem> _navigationItem;
  std::weak_ptr<UIViewController> _parent;
  std::shared_ptr<UIViewController> _presented;
  std::weak_ptr<UIViewController> _presenting;
  UIModalPresentationStyle _presentationStyle = UIModalPresentationStyle::FullScreen;
  UIModalTransitionStyle _transitionStyle = UIModalTransitionStyle::CoverVertical;
};

}  // namespace oq
