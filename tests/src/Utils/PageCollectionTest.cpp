#include "Utils/OQPageCollection.h"

#include <gtest/gtest.h>

#include <future>

#include "Dispatch/DispatchQueue.h"
#include "Manager/OQDispatchQueueManager.h"
#include "Manager/OQSDKManager.h"
#include "UIKit/UINavigationController.h"
#include "UIKit/UITabBarController.h"
#include "UIKit/UIViewController.h"
#include "src/TemporaryFolder.h"

namespace oq {
namespace {

class ShopPage : public UIViewController {
  OQ_CLASS(ShopPage)
};
Class* ShopPage::staticClass() {
  static Class* registered = registerClass("PageTestShopPage", UIViewController::staticClass());
  return registered;
}

class ShopNavigation : public UINavigationController {
  OQ_CLASS(ShopNavigation)

 public:
  using UINavigationController::UINavigationController;
};
Class* ShopNavigation::staticClass() {
  static Class* registered = registerClass("PageTestShopNavigation", UINavigationController::staticClass());
  return registered;
}

class ShopTabs : public UITabBarController {
  OQ_CLASS(ShopTabs)
};
Class* ShopTabs::staticClass() {
  static Class* registered = registerClass("PageTestShopTabs", UITabBarController::staticClass());
  return registered;
}

class AlertScreen : public UIViewController {
  OQ_CLASS(AlertScreen)
};
Class* AlertScreen::staticClass() {
  static Class* registered = registerClass("UIInputWindowController", UIViewController::staticClass());
  return registered;
}

class PageCollection : public testing::Test {
 protected:
  PageCollection() {
    DispatchQueue::installMain();
    OQPageCollection::collectPage();
    OQPageCollection::collectPage();  // harmless
    engine().setAutoCollectPage(true);
    engine().setPageName("engine before");
    OQPageCollection::sharedInstance().setPageName("before");
  }
  ~PageCollection() override { engine().setAutoCollectPage(true); }

  static OQSDKManager& engine() { return OQSDKManager::sharedManager(); }
  /// What the collection and the engine say once the screen has appeared and been decided on.
  static std::pair<std::string, std::string> pagesAfter(UIViewController& screen) {
    screen.viewDidAppear(false);
    screen.viewWillDisappear(false);
    std::promise<void> decided;
    OQDispatchQueueManager::dispatchInSerialQueue(QUEUE_TAG_HANDLE_NORMAL_ASYNC_TASK_IN_MAIN_THREAD,
                                                  [&] { decided.set_value(); });
    decided.get_future().wait();
    return {OQPageCollection::sharedInstance().pageName().value(), engine().pageName().value()};
  }

  test::TemporaryFolder folder;
};

using Pages = std::pair<std::string, std::string>;

TEST_F(PageCollection, ReportsThePagesOfTheHost) {
  ShopPage page;
  EXPECT_EQ(pagesAfter(page), Pages("PageTestShopPage", "PageTestShopPage"));
}

TEST_F(PageCollection, PassesOverScreensOfTheSystem) {
  UIViewController plain;
  AlertScreen alert;
  UINavigationController navigation(std::make_shared<UIViewController>());
  EXPECT_EQ(pagesAfter(plain), Pages("before", "engine before"));
  EXPECT_EQ(pagesAfter(alert), Pages("before", "engine before"));
  EXPECT_EQ(pagesAfter(navigation), Pages("before", "engine before"));
  EXPECT_FALSE(OQPageCollection::sharedInstance().canCollectViewController(nullptr));
}

TEST_F(PageCollection, FollowsTheHostsContainersWithoutReportingThem) {
  ShopNavigation navigation(std::make_shared<UIViewController>());
  EXPECT_EQ(pagesAfter(navigation), Pages("PageTestShopNavigation", "engine before"));
  ShopTabs tabs;
  EXPECT_EQ(pagesAfter(tabs), Pages("PageTestShopTabs", "engine before"));
}

TEST_F(PageCollection, FollowsPagesWithoutReportingThemWhenItIsOff) {
  engine().setAutoCollectPage(false);
  ShopPage page;
  EXPECT_EQ(pagesAfter(page), Pages("PageTestShopPage", "engine before"));
  UIViewController plain;
  EXPECT_EQ(pagesAfter(plain), Pages("PageTestShopPage", "engine before"));
}

TEST_F(PageCollection, DoesNotKeepAScreenUntilItIsDecidedOn) {
  std::promise<void> go;
  OQDispatchQueueManager::dispatchInSerialQueue(QUEUE_TAG_HANDLE_NORMAL_ASYNC_TASK_IN_MAIN_THREAD,
                                                [&, open = go.get_future().share()] { open.wait(); });
  {
    auto shortLived = std::make_shared<ShopPage>();
    shortLived->viewDidAppear(false);
  }
  go.set_value();
  UIViewController plain;
  EXPECT_EQ(pagesAfter(plain).first, "PageTestShopPage");
}

}  // namespace
}  // namespace oq
