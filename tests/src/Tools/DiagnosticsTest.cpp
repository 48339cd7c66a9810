// SPDX-License-Identifier: Apache-2.0

#include <thread>

#include "UIKit/Views/UILabel.h"
#include "oqsdk/OQDiagnosticsPanel.h"
#include "oqsdk/OQSDKConstants.h"
#include "support/EngineTest.h"
#include "support/ScreenParts.h"

namespace oq::test {
namespace {

using DiagnosticsTest = EngineTest;

TEST_F(DiagnosticsTest, HandlesEveryEventOfManyThreads) {
  engine->keepRecentDecisions(20000);
  deliverInApp({campaign("1", "never")});
  deliverSubscriptions({campaign("2", "load_test")});
  engine->testMultipleThread();
  while (engine.use_count() > 1) std::this_thread::yield();  // the last block has ended
  settle();
  const Value decisions = engine->recentDecisions();
  EXPECT_EQ(decisions.size(), 10000u);
  for (const Value& decision : decisions) {
    ASSERT_EQ(decision.at("event"), "load_test");
    ASSERT_EQ(decision.at("outcome"), "no match");
  }
  EXPECT_EQ(network->requests("/push/sdk/event/trigger").size(), 10000u);
  EXPECT_EQ(engine->userId(), "load-test");
  EXPECT_EQ(engine->appid(), "torvelin-load-test");
}

TEST_F(DiagnosticsTest, PanelShowsTheLibrarysStateInAnyHost) {
  HeadlessHost host({.dataDirectory = folder()});
  auto& shared = OQSDKManager::sharedManager();
  const JSONValue enter{{"xwhat", "enter"}};
  OQCampaignList::Windows windows;
  for (const JSONValue& each : {campaign("7", "buy", {{"endTime", nullptr}}), campaign("8", "pay", {{"count", 0}}),
                                campaign("9", "pay", {{"preEvent", enter}})})
    windows.push_back(OQWindowData::windowFrom(each));
  shared.setInAppDataArray(windows);
  shared.setSubscribeDataArray({OQWindowData::windowFrom(campaign("4", "quit"))});
  shared.setUserId("ann");
  shared.setPageName("CartPage");
  for (const char* event : {"other", "buy"}) shared.onEventDataReceived(uploadInfo(event));
  const auto labels = [](const std::string& text) {
    auto found = viewsOnScreen<UILabel>();
    std::erase_if(found, [&](const auto& label) { return label->text() != text; });
    return found;
  };
  EXPECT_EQ(shared.diagnostics().at("waitingEvents"), 0);
  EXPECT_EQ(shared.diagnostics().at("appId"), "shop");
  OQDiagnosticsPanel::show();
  host.advance(0.1);
  OQDiagnosticsPanel::show();  // already shown
  host.advance(0.5);
  const std::string title = "OQSDK " + OQSDKVersion;
  for (const char* text :
       {title.c_str(), "production (0)", "no token", "ann", "CartPage", "In-app windows (3)", "Window 7",
        "shown 0 of 1", "on buy", "2026-03-01 00:00:00 – …", "on pay, after enter", "Subscriptions (1)",
        "Subscription 4", "on quit", "Last decisions (2)", "Window 7 on buy", "no record", "other", "12:00:00"})
    EXPECT_FALSE(labels(text).empty()) << text;
  // Rows do not overlap, and each outcome has its colour.
  const auto top = [&](const char* text) { return labels(text).at(0)->convertPointToWindow({}).y; };
  EXPECT_EQ(top("Window 8") - top("Window 7"), 75);
  EXPECT_EQ(top("Window 9") - top("Window 8"), 75);
  EXPECT_LT(top("on quit"), top("Window 7 on buy"));
  EXPECT_LT(top("Window 7 on buy"), top("other")) << "the newest decision comes first";
  const auto color = [&](const char* text) { return labels(text).at(0)->textColor(); };
  EXPECT_NE(color("no record"), color("no match"));
  EXPECT_EQ(color("no match"), color("on buy")) << "quiet";
  EXPECT_EQ(color("shown 0 of 0"), color("no record")) << "held back";
  EXPECT_NE(color("shown 0 of 1"), color("no record"));
  EXPECT_EQ(shared.pageName(), "CartPage") << "the panel is not a page";
  const double first = top("Now");
  host.scroll(195, 400, 0, 50);
  EXPECT_LT(top("Now"), first);
  shared.setUserId(std::nullopt);
  EXPECT_TRUE(tapButton(host, "Refresh"));
  EXPECT_TRUE(labels("ann").empty());
  EXPECT_EQ(top("Now"), first);
  shared.setInAppDataArray({});
  shared.setToken("T");
  TorvelinOqConfig().setEnvType(7);
  EXPECT_TRUE(tapButton(host, "Refresh"));
  for (const char* text : {"The list is empty", "none yet", "logged in", "unknown (7)"})
    EXPECT_FALSE(labels(text).empty()) << text;
  host.setScreenSize(320, 568);
  EXPECT_TRUE(tapButton(host, "Close"));
  host.advance(0.5);
  EXPECT_TRUE(labels(title).empty());
}

}  // namespace
}  // namespace oq::test
