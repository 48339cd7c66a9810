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
/// How a presented page comes and goes: from below, or by fading.
enum class UIModalTransitionStyle : int { CoverVertical = 0, CrossDissolve = 2 };

inline const Selector<void()> viewDidLoadSelector{"viewDidLoad"};
inline const Selector<void(bool)> viewWillAppearSelector{"viewWillAppear:"};
inline const Selector<void(bool)> viewDidAppearSelector{"viewDidAppear:"};
inline const Selector<void(bool)> viewWillDisappearSelector{"viewWillDisappear:"};
inline const Selector<void(bool)> viewDidDisappearSelector{"viewDidDisappear:"};

/// One page: a view that is made when it is first asked for, and messages that tell when it comes and goes.
/// They are sent through the class runtime, so that replacing an implementation changes what runs. Main
/// thread only.
class OQSDK_EXPORT UIViewController : public Object, public std::enable_shared_from_this<UIViewController> {
  OQ_CLASS(UIViewController)

 public:
  UIViewController();
  ~UIViewController() override;

  /// Loads the view at the first call, then sends viewDidLoad, once.
  std::shared_ptr<UIView> view();
  bool isViewLoaded() const { return _view != nullptr; }

  // These send; a subclass registers a method of its own for the selector and calls its superclass with
  // sendSuper().
  void viewDidLoad() { send(*this, viewDidLoadSelector); }
  void viewWillAppear(bool animated) { send(*this, viewWillAppearSelector, animated); }
  void viewDidAppear(bool animated) { send(*this, viewDidAppearSelector, animated); }
  void viewWillDisappear(bool animated) { send(*this, viewWillDisappearSelector, animated); }
  void viewDidDisappear(bool animated) { send(*this, viewDidDisappearSelector, animated); }

  const std::string& title() const { return _title; }
  /// The navigation bar shows it, too.
  void setTitle(std::string title);
  /// What a navigation controller's bar shows for this page.
  const std::shared_ptr<UINavigationItem>& navigationItem();
  /// True for a page that a navigation controller shows without its bar.
  virtual bool hidesNavigationBar() const { return false; }
  /// Goes back inside the page, as a web page does to the one before it. False where there is nothing to go back to.
  virtual bool goBackInside() { return false; }

  std::shared_ptr<UIViewController> parentViewController() const { return _parent.lock(); }
  /// The nearest navigation controller above, nullptr when there is none.
  std::shared_ptr<UINavigationController> navigationController() const;

  /// Shows the controller over everything in this one's window; it is presented by the outermost controller
  /// above this one. Nothing happens, and the completion is dropped, when this one is not on screen or is
  /// presenting already, or the other is shown somewhere itself. Otherwise the completion is called once,
  /// when the page has come in, or at once when it is not animated.
  void presentViewController(const std::shared_ptr<UIViewController>& controller, bool animated,
                             std::function<void()> completion = nullptr);
  /// Takes away what this controller presents, and all that is presented on top of that; without any, takes
  /// this one away. The completion is called once, when the page has gone, or at once when it is not
  /// animated or there was nothing to take away.
  void dismissViewControllerAnimated(bool animated, std::function<void()> completion = nullptr);
  /// What this controller or one above it presents.
  std::shared_ptr<UIViewController> presentedViewController() const;
  /// Who presents this controller or one above it.
  std::shared_ptr<UIViewController> presentingViewController() const;
  UIModalPresentationStyle modalPresentationStyle() const { return _presentationStyle; }
  /// Full screen, the presenting page disappears; over full screen, it stays visible below and is told
  /// nothing. Counts when the controller is presented.
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
  /// The outermost controller around this one.
  std::shared_ptr<UIViewController> outermost();
  void putBackInto(UIWindow& window, const UIView& above);
  void takeAwayPresented(bool animated, std::function<void()> completion);
  /// Before it comes, and after it has gone.
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
