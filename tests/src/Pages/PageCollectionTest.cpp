// SPDX-License-Identifier: Apache-2.0
#include "Pages/OQPageCollection.h"

#include <gtest/gtest.h>

#include <future>

#include "Dispatch/DispatchQueue.h"
#include "Engine/OQSDKManager.h"
#include "UIKit/Controllers/UINavigationController.h"
#include "UIKit/Controllers/UITabBarController.h"
#include "UIKit/Controllers/UIViewController.h"
#include "Utils/OQDispatchQueueManager.h"
#include "src/TemporaryFolder.h"

namespace oq {
namespace {

/// A screen of a class with the given name.
template <class Base>
class Named : public Base {
 public:
  template <class... Arguments>
  explicit Named(const char* name, Arguments... arguments)
      : Base(arguments...), _class(registerClass(name, Base::staticClass())) {}
  Class* class_() const override { return _class; }

 private:
  Class* const _class;
};

class PageCollection : public testing::Test {
 protected:
  PageCollection() {
    DispatchQueue::installMain();
    OQPageCollection::collectPage();
    OQPageCollection::collectPage();  // the second call has no effect
    OQPageCollection::sharedInstance().setObserver(
        {[this] { return isCollecting; }, [this](const std::string& name) { reported = name; }});
    OQPageCollection::sharedInstance().setPageName("before");
  }
  ~PageCollection() override { OQPageCollection::sharedInstance().setObserver({}); }

  /// The current page and the last reported one, after the screen has appeared and the library has processed it.
  std::pair<std::string, std::string> pagesAfter(UIViewController& screen) {
    screen.viewDidAppear(false);
    screen.viewWillDisappear(false);
    std::promise<void> decided;
    OQDispatchQueueManager::dispatchInSerialQueue(QUEUE_TAG_HANDLE_NORMAL_ASYNC_TASK_IN_MAIN_THREAD,
                                                  [&] { decided.set_value(); });
    decided.get_future().wait();
    return {OQPageCollection::sharedInstance().pageName().value(), reported};
  }

  bool isCollecting = true;
  std::string reported = "none";
  test::TemporaryFolder folder;
};

using Pages = std::pair<std::string, std::string>;

/// The host's pages are reported, its containers only change the page's name, and system screens are ignored.
TEST_F(PageCollection, AlwaysRemembersTheLastPageAndReportsItOnlyIfEnabled) {
  const auto inner = std::make_shared<UIViewController>();
  UIViewController plain;
  UINavigationController systemStack(inner);
  Named<UIViewController> alert("UIInputWindowController"), page("PageTestPage"), other("PageTestOther");
  Named<UINavigationController> stack("PageTestStack", inner);
  Named<UITabBarController> tabs("PageTestTabs");
  for (UIViewController* passedOver : std::initializer_list<UIViewController*>{&plain, &alert, &systemStack})
    EXPECT_EQ(pagesAfter(*passedOver), Pages("before", "none"));
  EXPECT_FALSE(OQPageCollection::sharedInstance().canCollectViewController(nullptr));
  EXPECT_EQ(pagesAfter(stack), Pages("PageTestStack", "none"));
  EXPECT_EQ(pagesAfter(tabs), Pages("PageTestTabs", "none"));
  EXPECT_EQ(pagesAfter(page), Pages("PageTestPage", "PageTestPage"));
  isCollecting = false;
  EXPECT_EQ(pagesAfter(other), Pages("PageTestOther", "PageTestPage"));
  EXPECT_EQ(pagesAfter(plain), Pages("PageTestOther", "PageTestPage"));
}

TEST_F(PageCollection, EngineTakesThePageNameUnlessCollectionIsDisabled) {
  auto& engine = OQSDKManager::sharedManager();
  Named<UIViewController> page("PageTestEnginePage");
  for (bool isEnabled : {false, true}) {
    engine.setAutoCollectPage(isEnabled);
    EXPECT_EQ(pagesAfter(page).first, "PageTestEnginePage");
    EXPECT_EQ(engine.pageName().has_value(), isEnabled);
  }
  EXPECT_EQ(engine.pageName(), "PageTestEnginePage");
}

TEST_F(PageCollection, CollectsThePageOfAScreenThatIsAlreadyDestroyed) {
  std::promise<void> go;
  OQDispatchQueueManager::dispatchInSerialQueue(QUEUE_TAG_HANDLE_NORMAL_ASYNC_TASK_IN_MAIN_THREAD,
                                                [&, open = go.get_future().share()] { open.wait(); });
  {
    auto shortLived = std::make_shared<Named<UIViewController>>("PageTestShopPage");
    shortLived->viewDidAppear(false);
  }
  go.set_value();
  UIViewController plain;
  EXPECT_EQ(pagesAfter(plain).first, "PageTestShopPage");
}

}  // namespace
}  // namespace oq
