// SPDX-License-Identifier: Apache-2.0
#include "UIKit/Controllers/UIViewController.h"

#include "UIKit/Controllers/UINavigationBar.h"
#include "UIKit/Controllers/UINavigationController.h"
#include "UIKit/Painting/Painter.h"
#include "platform/UIKit/Windows/ScriptedHost.h"

namespace oq {
namespace {

using Log = std::vector<std::string>;
using Views = std::vector<std::shared_ptr<UIView>>;

/// A view controller that records its appearance messages in a log that all pages of a test share.
class Page : public UIViewController {
  OQ_CLASS(Page)

 public:
  Page(std::string name, Log& log) : _name(std::move(name)), _log(log) {}

 private:
  void _loaded() { note("load"); }
  void _willAppear(bool animated) { note(animated ? "will appear animated" : "will appear"); }
  void _didAppear(bool animated) {
    sendSuper(staticClass(), *this, viewDidAppearSelector, animated);
    note("did appear");
  }
  void _willDisappear(bool) { note("will disappear"); }
  void _didDisappear(bool) { note("did disappear"); }
  void note(const char* what) { _log.push_back(_name + " " + what); }

  std::string _name;
  Log& _log;
};

Class* Page::staticClass() {
  static Class* registered = registerClass(
      "ViewControllerTestPage", UIViewController::staticClass(),
      {method<&Page::_loaded>(viewDidLoadSelector), method<&Page::_willAppear>(viewWillAppearSelector),
       method<&Page::_didAppear>(viewDidAppearSelector), method<&Page::_willDisappear>(viewWillDisappearSelector),
       method<&Page::_didDisappear>(viewDidDisappearSelector)});
  return registered;
}

class ViewControllerTest : public UIKitTest {
 protected:
  std::shared_ptr<Page> page(const std::string& name) { return std::make_shared<Page>(name, log); }
  std::shared_ptr<UINavigationController> showInNavigation(const std::shared_ptr<Page>& root) {
    auto navigation = std::make_shared<UINavigationController>(root);
    window->setRootViewController(navigation);
    return navigation;
  }
  Log log;
  std::shared_ptr<Page> first = page("a"), second = page("b"), third = page("c");
};

TEST_F(ViewControllerTest, RootIsAddedBelowOtherViewsAndFollowsTheWindow) {
  auto overlay = add(CGRectMake(0, 0, 10, 10));
  window->setFrame(CGRectMake(0, 0, 40, 40));
  window->setRootViewController(first);
  EXPECT_EQ(window->subviews().front(), first->view());
  EXPECT_EQ(first->view()->frame(), CGRectMake(0, 0, 40, 40));
  window->setFrame(CGRectMake(0, 0, 60, 40));
  EXPECT_EQ(first->view()->frame(), CGRectMake(0, 0, 60, 40));

  window->setRootViewController(second);
  window->setRootViewController(second);
  EXPECT_EQ(log, (Log{"a load", "a will appear", "a did appear", "a will disappear", "a did disappear", "b load",
                      "b will appear", "b did appear"}));
  EXPECT_EQ(first->view()->superview(), nullptr);
  window->setRootViewController(nullptr);
  EXPECT_EQ(window->subviews(), (Views{overlay}));
}

/// The navigation's subviews, without the shade behind pushed pages.
Views shownIn(UINavigationController& navigation) {
  Views views = navigation.view()->subviews();
  std::erase_if(views, [](const auto& view) { return view->fillsSurroundings(); });
  return views;
}

TEST_F(ViewControllerTest, PushingAndPoppingAPageSendsItsAppearanceMessages) {
  auto offScreen = std::make_shared<UINavigationController>(third);
  offScreen->pushViewController(second, false);
  offScreen->popViewControllerAnimated(false);
  EXPECT_TRUE(log.empty()) << "not in a window";
  auto navigation = showInNavigation(first);
  EXPECT_EQ(first->navigationController(), navigation);
  EXPECT_EQ(navigation->popViewControllerAnimated(true), nullptr);

  log.clear();
  navigation->pushViewController(second, true);
  navigation->pushViewController(second, true);
  navigation->pushViewController(nullptr, true);
  EXPECT_EQ(log, (Log{"a will disappear", "b will appear animated", "b load", "a did disappear", "b did appear"}));
  EXPECT_EQ(navigation->viewControllers().size(), 2u);
  EXPECT_EQ(second->view()->window(), window.get());
  EXPECT_EQ(second->view()->frame(), CGRectMake(0, 44, 100, 156));
  EXPECT_EQ(first->view()->window(), window.get()) << "until the other one has covered it";
  EXPECT_DOUBLE_EQ(host.deadline, 0.35);
  const CGPoint outside{150, 50};
  EXPECT_TRUE(window->wantsTouchAt(outside));
  stepTo(1);
  EXPECT_EQ(first->view()->window(), nullptr);
  EXPECT_TRUE(window->wantsTouchAt(outside));
  EXPECT_NEAR(surroundingsColor(*window, 1).alpha, 0.3, 1e-9);

  log.clear();
  EXPECT_EQ(navigation->popViewControllerAnimated(false), second);
  EXPECT_EQ(log, (Log{"b will disappear", "a will appear", "b did disappear", "a did appear"}));
  EXPECT_FALSE(window->wantsTouchAt(outside));
  EXPECT_EQ(surroundingsColor(*window, 1).alpha, 0);
  EXPECT_EQ(shownIn(*navigation), (Views{first->view(), navigation->navigationBar()}));
  EXPECT_EQ(navigation->navigationBar()->frame().origin, CGPoint());
}

TEST_F(ViewControllerTest, PresentedPageCoversTheWindowUntilDismissed) {
  auto navigation = std::make_shared<UINavigationController>(first);
  int presented = 0, dismissed = 0;
  first->presentViewController(second, false, [&] { ++presented; });
  EXPECT_EQ(second->presentingViewController(), nullptr);  // without a window nothing is presented
  window->setRootViewController(navigation);
  auto popup = add(CGRectMake(0, 0, 10, 10));
  log.clear();
  first->presentViewController(second, false, [&] { ++presented; });
  EXPECT_EQ(log, (Log{"b load", "a will disappear", "b will appear", "a did disappear", "b did appear"}));
  EXPECT_EQ(first->presentedViewController(), second);
  EXPECT_EQ(second->presentingViewController(), navigation);
  EXPECT_EQ(window->subviews(), (Views{popup, second->view()}));
  EXPECT_EQ(second->view()->frame(), window->bounds());
  first->presentViewController(third, false, [&] { ++presented; });
  EXPECT_EQ(navigation->presentedViewController(), second);
  EXPECT_EQ(presented, 1);

  log.clear();
  navigation->pushViewController(third, false);
  EXPECT_EQ(log, (Log{"c load"}));  // not visible, so no appearance messages
  second->dismissViewControllerAnimated(false, [&] { ++dismissed; });
  EXPECT_EQ(log, (Log{"c load", "b will disappear", "c will appear", "b did disappear", "c did appear"}));
  EXPECT_EQ(window->subviews(), (Views{navigation->view(), popup}));
  EXPECT_EQ(first->presentedViewController(), nullptr);
  second->dismissViewControllerAnimated(true, [&] { ++dismissed; });
  EXPECT_EQ(dismissed, 2);
}

TEST_F(ViewControllerTest, PresentedPageSlidesAndCompletesOnce) {
  window->setRootViewController(first);
  int presented = 0, dismissed = 0;
  first->presentViewController(second, true, [&] { ++presented; });
  runMainQueue();
  EXPECT_EQ(presented, 0);
  EXPECT_DOUBLE_EQ(host.deadline, 0.35);
  stepTo(1);
  EXPECT_EQ(presented, 1);
  first->dismissViewControllerAnimated(true, [&] { ++dismissed; });
  EXPECT_EQ(first->view()->window(), window.get());
  stepTo(1.1);
  EXPECT_EQ(second->view()->window(), window.get());
  stepTo(2);
  EXPECT_EQ(dismissed, 1);
  EXPECT_EQ(window->subviews(), (Views{first->view()}));
}

TEST_F(ViewControllerTest, StackedPresentedPagesAreDismissedTogether) {
  window->setRootViewController(first);
  first->presentViewController(second, false);
  third->setModalPresentationStyle(UIModalPresentationStyle::OverFullScreen);
  log.clear();
  second->presentViewController(third, false);
  EXPECT_EQ(log, (Log{"c load", "c will appear", "c did appear"}));
  log.clear();
  first->dismissViewControllerAnimated(false);
  EXPECT_EQ(log, (Log{"c will disappear", "b will disappear", "a will appear", "c did disappear", "b did disappear",
                      "a did appear"}));
  first->presentViewController(second, false);
  window->setRootViewController(third);
  EXPECT_EQ(window->subviews(), (Views{third->view()})) << "a replaced root takes its presented page with it";
}

}  // namespace
}  // namespace oq
