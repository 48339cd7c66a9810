// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "UIKit/Views/UILabel.h"
#include "oqsdk/OQDiagnosticsPanel.h"
#include "oqsdk/OQSDKConstants.h"
#include "support/EngineTest.h"
#include "support/ScreenParts.h"

namespace oq::test {
namespace {

using testing::Contains;

class DiagnosticsTest : public EngineTest {
 protected:
  DiagnosticsTest() { relaunch(); }
};

TEST_F(DiagnosticsTest, HandlesEveryEventOfManyThreads) {
  engine->keepRecentDecisions(20000);
  deliverInApp({campaign("1", "never")});
  deliverSubscriptions({campaign("2", "load_test")});
  const std::size_t before = network->requests().size();
  engine->testMultipleThread();
  const auto decisions = [&] { return engine->recentDecisions(); };
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(100);
  while (decisions().size() < 10000 && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
  settle();
  EXPECT_EQ(decisions().size(), 10000u);
  const Value taken = decisions();
  for (const Value& decision : taken) {
    ASSERT_EQ(decision.at("event"), "load_test");
    ASSERT_EQ(decision.at("outcome"), "no match");
  }
  // Each event also triggers the subscription.
  EXPECT_EQ(network->requests().size() - before, 10000u);
  EXPECT_EQ(engine->userId(), "load-test");
  EXPECT_EQ(engine->appid(), "torvelin-load-test");
}

TEST_F(DiagnosticsTest, ReportsTheState) {
  EXPECT_EQ(engine->diagnostics().at("userId"), nullptr);
  deliverInApp({campaign("7", "buy", {{"count", 2}}), campaign("8", "leave", {{"preEvent", {{"xwhat", "enter"}}}})});
  deliverSubscriptions({campaign("9", "pay")});
  engine->setPageName("CartPage");
  receive("buy");
  receive("buy");
  const Value state = engine->diagnostics();
  EXPECT_EQ(state.at("environment"), 0);
  EXPECT_EQ(state.at("userId"), "ann");
  EXPECT_EQ(state.at("appId"), "shop");
  EXPECT_EQ(state.at("pageName"), "CartPage");
  EXPECT_EQ(state.at("windows").at(0).at("windowId"), "7");
  EXPECT_EQ(state.at("windows").at(0).at("count"), 2);
  EXPECT_EQ(state.at("windows").at(0).at("usedCount"), 1);
  EXPECT_EQ(state.at("windows").at(1).at("preEvent"), "enter");
  EXPECT_EQ(state.at("subscriptions").at(0).at("event"), "pay");
  EXPECT_EQ(state.at("decisions").size(), 2u);
  EXPECT_EQ(state.at("decisions").at(1).at("outcome"), "already shown in this run");
}

TEST_F(DiagnosticsTest, PanelShowsTheStateInAnyHost) {
  HeadlessHost host;
  auto& shared = OQSDKManager::sharedManager();
  shared.setInAppDataArray({OQCampaignList::windowFrom(campaign("7", "buy"))});
  shared.setUserId("ann");
  shared.setPageName("CartPage");
  shared.onEventDataReceived(uploadInfo("buy"));
  const auto texts = [] {
    std::vector<std::string> shown;
    for (const auto& label : viewsOnScreen<UILabel>()) shown.push_back(label->text().value_or(""));
    return shown;
  };
  OQDiagnosticsPanel::show();
  host.advance(0.1);
  OQDiagnosticsPanel::show();  // already shown
  host.advance(0.5);
  const std::string title = "OQSDK " + OQSDKVersion;
  for (const char* text : {title.c_str(), "production (0)", "ann", "CartPage", "In-app windows (1)", "Window 7",
                           "Subscriptions (0)", "Last decisions (1)", "Window 7 on buy", "no record"})
    EXPECT_THAT(texts(), Contains(text));
  EXPECT_EQ(shared.pageName(), "CartPage") << "the panel is not a page";
  shared.setUserId(std::nullopt);
  EXPECT_TRUE(tapButton(host, "Refresh"));
  EXPECT_THAT(texts(), testing::Not(Contains("ann")));
  host.setScreenSize(320, 568);
  EXPECT_TRUE(tapButton(host, "Close"));
  host.advance(0.5);
  EXPECT_THAT(texts(), testing::Not(Contains(title)));
}

}  // namespace
}  // namespace oq::test
