// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <thread>

#include "Engine/OQSDKManager.h"
#include "UIKit/Controllers/UIAlertController.h"
#include "UIKit/Views/UILabel.h"
#include "Utils/OQUtils.h"
#include "src/TemporaryFolder.h"
#include "support/ScreenParts.h"

namespace oq {
namespace {

using testing::ElementsAre;

class EnvironmentSwitch : public testing::Test {
 protected:
  EnvironmentSwitch() { OQSDKManager::sharedManager().setConfiguration(config); }
  ~EnvironmentSwitch() override { OQSDKManager::sharedManager().setConfiguration(nullptr); }

  void ask() {
    OQSDKManager::sharedManager().changeEnvironment();
    host.advance(0.5);
  }
  static std::vector<std::string> texts() {
    std::vector<std::string> texts;
    for (const auto& label : test::viewsOnScreen<UILabel>()) texts.push_back(label->text().value_or(""));
    std::erase(texts, "");
    return texts;
  }
  /// The stored environment after a tap on this button of the alert.
  std::uint64_t storedAfter(std::uint64_t before, const std::string& button) {
    config->setEnvType(before);
    ask();
    EXPECT_TRUE(test::tapButton(host, button)) << button;
    host.advance(0.5);
    EXPECT_EQ(texts().size(), 0u) << "the alert has closed";
    return OQSDKManager::getEnvironment();
  }

  HeadlessHost host{{.dataDirectory = test::TemporaryFolder().path()}};
  std::shared_ptr<TorvelinOqConfig> config = std::make_shared<TorvelinOqConfig>();
};

TEST_F(EnvironmentSwitch, OffersTheTwoOtherEnvironmentsAndStoresTheChosenOne) {
  struct Case {
    std::uint64_t current;
    std::string name, first, second;
    std::uint64_t setsFirst, setsSecond;
  };
  for (const Case& each : {Case{0, "distribution", "dev", "test", 2, 1}, Case{1, "test", "dev", "distribution", 2, 0},
                           Case{2, "dev", "test", "distribution", 1, 0}}) {
    config->setEnvType(each.current);
    ask();
    EXPECT_THAT(texts(), ElementsAre("切换环境", "当前环境为“" + each.name + "”，是否切换？\n切换后请重启APP"));
    EXPECT_THAT(test::buttonTitlesOnScreen(), ElementsAre("取消", each.first, each.second));
    auto buttons = test::viewsOnScreen<UIButton>();
    EXPECT_LT(buttons[0]->frame().minY(), buttons[1]->frame().minY());
    const UIColor red = buttons[0]->titleColorForState(UIControlStateNormal);
    EXPECT_TRUE(red.red > 0.8 && red.green < 0.3 && red.blue < 0.3);
    EXPECT_NE(buttons[1]->titleColorForState(UIControlStateNormal), red);
    EXPECT_TRUE(test::tapButton(host, "取消"));
    host.advance(0.5);
    EXPECT_EQ(storedAfter(each.current, each.first), each.setsFirst);
    EXPECT_EQ(storedAfter(each.current, each.second), each.setsSecond);
  }

  config->setEnvType(7);  // unknown
  ask();
  EXPECT_EQ(texts().back(), "当前环境为“(null)”，是否切换？\n切换后请重启APP");
  EXPECT_THAT(test::buttonTitlesOnScreen(), ElementsAre("取消", "(untitled)", "(untitled)"));
  EXPECT_TRUE(test::tap(host, *test::viewsOnScreen<UIButton>().back()));
  host.advance(0.5);
  EXPECT_EQ(texts().size(), 0u);
  EXPECT_EQ(OQSDKManager::getEnvironment(), 7u);
}

TEST_F(EnvironmentSwitch, AsksOnceInAnAccessibleAlertThatStaysCentred) {
  std::thread([] { OQUtils::changeEnvironment(); }).join();
  host.advance(0.1);
  ask();  // no effect while the alert is shown
  EXPECT_EQ(test::viewsOnScreen<UIButton>().size(), 3u);
  EXPECT_EQ(class_getName(OQNavigation::currentViewController()->class_()), "UIAlertController");
  // For assistive technology it is a dialog with a name, two labels and three buttons.
  auto dialog = frontmostDialog(*OQNavigation::keyWindow());
  ASSERT_TRUE(dialog);
  EXPECT_EQ(dialog->accessibilityLabel(), "切换环境");
  EXPECT_EQ(accessibilityElements(dialog).size(), 5u);
  EXPECT_TRUE(host.tap(5, 5)) << "the alert blocks touches behind it";
  // The alert stays centred when the screen changes.
  host.setScreenSize(320, 568);
  const CGPoint card = test::viewsOnScreen<UIButton>().front()->superview()->superview()->center();
  EXPECT_TRUE(card.x == 160 && std::abs(card.y - 284) < 0.5);
  EXPECT_TRUE(test::tapButton(host, "取消"));
  host.setActive(false);
  OQUtils::changeEnvironment();  // has no effect without an active window
  host.advance(0.5);
  host.setActive(true);
  EXPECT_EQ(texts().size(), 0u);
}

}  // namespace
}  // namespace oq
