#include "UIKit/UIViewController.h"

#include "UIKit/UINavigationController.h"
#include "platform/UIKit/ScriptedHost.h"

namespace oq {
namespace {

using Log = std::vector<std::string>;

/// Writes its messages into a common log.
class Page : public UIViewController {
  OQ_CLASS(Page)

 public:
  Page(std::string name, Log& log) : _name(std::move(name)), _log(log) {}
  std::function<void()> onWillAppear;

 private:
  void _loaded() { note("load"); }
  void _willAppear(bool animated) {
    note(animated ? "will appear animated" : "will appear");
    if (const auto action = std::exchange(onWillAppear, nullptr)) action();
  }
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
       method<&Page::_didAppear>(viewDidAppearSelector),
       method<&Page::_willDisappear>(viewWillDisappearSelector),
       method<&Page::_didDisappear>(viewDidDisappearSelector)});
  return registered;
}

class ViewControllerTest : public UIKitTest {
 protected:
  std::shared_ptr<Page> page(const std::string& name) { return std::make_shared<Page>(name, log); }
  Log log;
};

TEST_F(ViewControllerTest, TheViewIsMadeWhenItIsAskedForAndLoadsOnce) {
  auto controller = page("a");
  EXPECT_FALSE(controller->isViewLoaded());
  const auto view = controller->view();
  EXPECT_EQ(view, controller->view());
  EXPECT_EQ(view->frame(), UIScreen::mainScreen().bounds());
  EXPECT_EQ(log, (Log{"a load"}));
}

TEST_F(ViewControllerTest, ARootAppearsBelowWhatTheWindowShowsAndFollowsItsSize) {
  auto overlay = add(CGRectMake(0, 0, 10, 10));
  auto first = page("a"), second = page("b");
  window->setFrame(CGRectMake(0, 0, 40, 40));
  window->setRootViewController(first);
  EXPECT_EQ(window->subviews().front(), first->view());
  EXPECT_EQ(first->view()->frame(), CGRectMake(0, 0, 40, 40));
  window->setFrame(CGRectMake(0, 0, 60, 40));
  EXPECT_EQ(first->view()->frame(), CGRectMake(0, 0, 60, 40));

  window->setRootViewController(second);
  window->setRootViewController(second);
  EXPECT_EQ(log, (Log{"a load", "a will appear", "a did appear", "a will disappear", "a did disappear",
                      "b load", "b will appear", "b did appear"}));
  EXPECT_EQ(first->view()->superview(), nullptr);
  window->setRootViewController(nullptr);
  EXPECT_EQ(window->subviews(), (std::vector<std::shared_ptr<UIView>>{overlay}));
}

TEST_F(ViewControllerTest, ARootThatIsReplacedWhileItAppearsLeavesNothingBehind) {
  auto first = page("a"), second = page("b");
  first->onWillAppear = [&] { window->setRootViewController(second); };
  window->setRootViewController(first);
  EXPECT_EQ(window->rootViewController(), second);
  EXPECT_EQ(window->subviews(), (std::vector<std::shared_ptr<UIView>>{second->view()}));
}

TEST_F(ViewControllerTest, PagesArePushedAndPoppedWithTheirMessages) {
  auto first = page("a"), second = page("b");
  auto navigation = std::make_shared<UINavigationController>(first);
  window->setRootViewController(navigation);
  EXPECT_EQ(first->navigationController(), navigation);
  EXPECT_EQ(navigation->popViewController(true), nullptr);

  log.clear();
  navigation->pushViewController(second, true);
  navigation->pushViewController(second, true);
  navigation->pushViewController(nullptr, true);
  EXPECT_EQ(log,
            (Log{"a will disappear", "b will appear animated", "b load", "a did disappear", "b did appear"}));
  EXPECT_EQ(navigation->viewControllers().size(), 2u);
  EXPECT_EQ(second->view()->window(), window.get());
  EXPECT_EQ(second->view()->frame(), window->bounds());
  EXPECT_EQ(first->view()->window(), nullptr);

  log.clear();
  EXPECT_EQ(navigation->popViewController(false), second);
  EXPECT_EQ(log, (Log{"b will disappear", "a will appear", "b did disappear", "a did appear"}));
  EXPECT_EQ(second->parentViewController(), nullptr);
  EXPECT_EQ(navigation->view()->subviews(), (std::vector<std::shared_ptr<UIView>>{first->view()}));
}

TEST_F(ViewControllerTest, APushOffScreenIsSilentUntilTheControllerAppears) {
  auto first = page("a"), second = page("b");
  auto navigation = std::make_shared<UINavigationController>(first);
  navigation->pushViewController(second, false);
  EXPECT_TRUE(log.empty());
  window->setRootViewController(navigation);
  EXPECT_EQ(log, (Log{"b load", "b will appear", "b did appear"}));
}

TEST_F(ViewControllerTest, APageMayPushAnotherWhileItAppears) {
  auto first = page("a"), second = page("b"), third = page("c");
  auto navigation = std::make_shared<UINavigationController>(first);
  window->setRootViewController(navigation);
  second->onWillAppear = [&] { navigation->pushViewController(third, false); };
  navigation->pushViewController(second, false);
  EXPECT_EQ(navigation->topViewController(), third);
  EXPECT_EQ(navigation->view()->subviews(), (std::vector<std::shared_ptr<UIView>>{third->view()}));
}

TEST_F(ViewControllerTest, AHostWindowLetsTouchesThroughUntilAPageIsPushed) {
  auto attached = makeHostWindow(CGRectMake(0, 0, 100, 200));
  auto navigation = std::dynamic_pointer_cast<UINavigationController>(attached->rootViewController());
  ASSERT_TRUE(navigation);
  EXPECT_TRUE(navigation->isNavigationBarHidden());
  EXPECT_EQ(class_getName(navigation->topViewController()->class_()), "UIViewController");
  EXPECT_FALSE(attached->wantsTouchAt({50, 50}));
  navigation->pushViewController(page("a"), false);
  EXPECT_TRUE(attached->wantsTouchAt({50, 50}));
  navigation->popViewController(false);
  EXPECT_FALSE(attached->wantsTouchAt({50, 50}));
}

}  // namespace
}  // namespace oq
