#include "Utils/OQNavigation.h"

#include <gtest/gtest.h>

#include "Dispatch/DispatchQueue.h"
#include "Foundation/Device.h"
#include "UIKit/UIApplication.h"
#include "UIKit/UINavigationController.h"
#include "UIKit/UIWindow.h"

namespace oq {
namespace {

class Navigation : public testing::Test {
 protected:
  Navigation() : _before(platformSystemVersion()) {
    DispatchQueue::installMain();
    attach(background, UISceneActivationState::Background);
    attach(front, UISceneActivationState::ForegroundActive);
  }
  ~Navigation() override {
    for (const auto& scene : _scenes) UIApplication::sharedApplication().disconnectScene(scene);
    setPlatformSystemVersion(_before);
  }
  void attach(std::shared_ptr<UIWindow>& window, UISceneActivationState state) {
    window = makeHostWindow(CGRectMake(0, 0, 100, 200));
    auto scene = std::make_shared<UIScene>();
    scene->setActivationState(state);
    scene->addWindow(window);
    _scenes.push_back(scene);
    UIApplication::sharedApplication().connectScene(scene);
  }
  void sendToBackground() { _scenes.back()->setActivationState(UISceneActivationState::ForegroundInactive); }

  std::shared_ptr<UIWindow> background, front;

 private:
  const double _before;
  std::vector<std::shared_ptr<UIScene>> _scenes;
};

TEST_F(Navigation, TakesTheFirstActiveSceneFromThirteenOn) {
  EXPECT_EQ(OQNavigation::keyWindow(), front);
  setPlatformSystemVersion(12.4);
  EXPECT_EQ(OQNavigation::keyWindow(), background);
}

TEST_F(Navigation, FollowsTheStackToItsTop) {
  auto navigation = OQNavigation::currentNavigation();
  ASSERT_TRUE(navigation);
  EXPECT_EQ(navigation, front->rootViewController());
  EXPECT_EQ(OQNavigation::currentViewController(), navigation->topViewController());
  auto page = std::make_shared<UIViewController>();
  navigation->pushViewController(page, false);
  EXPECT_EQ(OQNavigation::currentViewController(), page);
}

TEST_F(Navigation, AnswersWithThePlainRootWhereThereIsNoStack) {
  auto page = std::make_shared<UIViewController>();
  front->setRootViewController(page);
  EXPECT_EQ(OQNavigation::currentViewController(), page);
  EXPECT_EQ(OQNavigation::currentNavigation(), nullptr);
  front->setRootViewController(nullptr);
  EXPECT_EQ(OQNavigation::currentViewController(), nullptr);
}

TEST_F(Navigation, FindsNothingInTheBackground) {
  sendToBackground();
  EXPECT_EQ(OQNavigation::keyWindow(), nullptr);
  EXPECT_EQ(OQNavigation::currentViewController(), nullptr);
  EXPECT_EQ(OQNavigation::currentNavigation(), nullptr);
}

}  // namespace
}  // namespace oq
