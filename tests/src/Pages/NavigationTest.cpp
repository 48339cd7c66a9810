// SPDX-License-Identifier: Apache-2.0
#include "Pages/OQNavigation.h"

#include <gtest/gtest.h>

#include "Dispatch/DispatchQueue.h"
#include "Foundation/System/Device.h"
#include "UIKit/Controllers/UINavigationController.h"
#include "UIKit/Controllers/UITabBarController.h"
#include "UIKit/Windows/UIApplication.h"
#include "UIKit/Windows/UIWindow.h"

namespace oq {
namespace {

using Visibility = UISceneVisibility;

class Navigation : public testing::Test {
 protected:
  Navigation() : _before(platformSystemVersion()) {
    DispatchQueue::installMain();
    attach(background, Visibility::Hidden);
    attach(front, Visibility::OnScreen);
  }
  ~Navigation() override {
    detachAll();
    setPlatformSystemVersion(_before);
  }
  std::shared_ptr<UIScene> attach(std::shared_ptr<UIWindow>& window, Visibility visibility) {
    window = makeHostWindow(CGRectMake(0, 0, 100, 200));
    auto scene = std::make_shared<UIScene>();
    scene->addWindow(window);
    _scenes.push_back(scene);
    application.connectScene(scene);
    application.setSceneVisibility(*scene, visibility);
    return scene;
  }
  void sendToBackground() { application.setSceneVisibility(*_scenes.back(), Visibility::Hidden); }
  void detachAll() {
    for (const auto& scene : _scenes) application.disconnectScene(scene);
  }

  UIApplication& application = UIApplication::sharedApplication();
  std::shared_ptr<UIWindow> background, front;

 private:
  const double _before;
  std::vector<std::shared_ptr<UIScene>> _scenes;
};

TEST_F(Navigation, KeyWindowBelongsToTheFirstActiveSceneSinceSystemVersion13) {
  EXPECT_EQ(OQNavigation::keyWindow(), front);
  setPlatformSystemVersion(12.4);
  EXPECT_EQ(OQNavigation::keyWindow(), background);
  EXPECT_EQ(OQNavigation::currentNavigation(), background->rootViewController());
  setPlatformSystemVersion(13);
  sendToBackground();
  EXPECT_EQ(OQNavigation::keyWindow(), nullptr);
  EXPECT_EQ(OQNavigation::currentViewController(), nullptr);
  EXPECT_EQ(OQNavigation::currentNavigation(), nullptr);
  EXPECT_EQ(OQNavigation::currentWebview(), nullptr);
}

TEST_F(Navigation, KeyWindowIsTheMostRecentlyUsedVisibleWindow) {
  detachAll();
  std::shared_ptr<UIWindow> splash, main, tools;
  const auto ofSplash = attach(splash, Visibility::NeverMapped), ofMain = attach(main, Visibility::NeverMapped),
             ofTools = attach(tools, Visibility::NeverMapped);
  EXPECT_EQ(OQNavigation::keyWindow(), splash) << "before any window is mapped, the first one counts";
  const auto keyWindowAfter = [&](const auto& scene, Visibility visibility) {
    application.setSceneVisibility(*scene, visibility);
    return OQNavigation::keyWindow();
  };
  EXPECT_EQ(keyWindowAfter(ofTools, Visibility::Mapped), tools);
  EXPECT_EQ(keyWindowAfter(ofTools, Visibility::Hidden), nullptr) << "one that was never mapped does not replace it";
  EXPECT_EQ(keyWindowAfter(ofTools, Visibility::OnScreen), tools);
  EXPECT_EQ(keyWindowAfter(ofMain, Visibility::OnScreen), main) << "unused windows are in the order of attachment";
  for (const auto& scene : {ofMain, ofTools, ofSplash}) application.sceneWasUsed(*scene);
  EXPECT_EQ(OQNavigation::keyWindow(), tools) << "one that was never mapped comes last";
  EXPECT_EQ(application.connectedScenes().back(), ofSplash);
  EXPECT_EQ(keyWindowAfter(ofTools, Visibility::Hidden), main);
  EXPECT_EQ(keyWindowAfter(ofTools, Visibility::OnScreen), tools) << "a hidden window keeps its rank";
  EXPECT_EQ(keyWindowAfter(ofTools, Visibility::HeldBack), main) << "the user sees nothing of the other window";
  EXPECT_EQ(keyWindowAfter(ofMain, Visibility::Hidden), tools);
  application.setSceneVisibility(*ofMain, Visibility::OnScreen);
  application.disconnectScene(ofTools);
  EXPECT_EQ(OQNavigation::keyWindow(), main);
}

TEST_F(Navigation, NotifiesWhenTheApplicationReturnsToTheForeground) {
  int returns = 0;
  application.setForegroundObserver([&] { ++returns; });
  std::shared_ptr<UIWindow> window;
  auto scene = attach(window, Visibility::OnScreen);
  application.setSceneVisibility(*scene, Visibility::Hidden);
  application.setSceneVisibility(*scene, Visibility::OnScreen);
  EXPECT_EQ(returns, 0) << "another window was visible all the time";
  detachAll();
  scene = attach(window, Visibility::NeverMapped);
  EXPECT_EQ(returns, 0) << "a window that is not mapped yet";
  // While the only window is held back, the application stays in the foreground: the window may only be covered.
  for (const auto& [visibility, expected] : {std::pair(Visibility::Mapped, 1),
                                             {Visibility::OnScreen, 1},
                                             {Visibility::HeldBack, 1},
                                             {Visibility::Hidden, 1},
                                             {Visibility::OnScreen, 2}}) {
    application.setSceneVisibility(*scene, visibility);
    EXPECT_EQ(returns, expected) << static_cast<int>(visibility);
  }
  application.setForegroundObserver(nullptr);
}

TEST_F(Navigation, CurrentControllerIsFoundThroughContainersAndPresentedScreens) {
  const auto expect = [](const auto& controller, const auto& navigation) {
    EXPECT_EQ(OQNavigation::currentViewController(), controller);
    EXPECT_EQ(OQNavigation::currentNavigation(), navigation);
  };
  const auto plain = std::make_shared<UIViewController>(), top = std::make_shared<UIViewController>(),
             sheet = std::make_shared<UIViewController>();
  const auto stack = std::make_shared<UINavigationController>(std::make_shared<UIViewController>());
  front->setRootViewController(nullptr);
  expect(nullptr, nullptr);
  front->setRootViewController(plain);
  expect(plain, nullptr);
  front->setRootViewController(stack);
  expect(stack->topViewController(), stack);
  stack->pushViewController(top, false);
  expect(top, stack);

  const auto tabs = std::make_shared<UITabBarController>();
  front->setRootViewController(tabs);
  expect(nullptr, nullptr);
  tabs->setViewControllers({plain, stack});
  expect(plain, nullptr);
  tabs->setSelectedViewController(stack);
  expect(top, stack);
  top->presentViewController(std::make_shared<UINavigationController>(sheet), false);
  expect(sheet, stack);

  const auto around = std::make_shared<UINavigationController>(tabs);
  front->setRootViewController(around);
  tabs->setSelectedViewController(plain);
  expect(plain, around);
}

}  // namespace
}  // namespace oq
