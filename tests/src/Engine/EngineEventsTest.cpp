// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <cmath>

#include "Engine/OQDisplayDecisions.h"
#include "Model/OQRecordTree.h"
#include "Model/OQWindowData.h"
#include "Storage/OQUserDefaults.h"
#include "support/EngineTest.h"

/// What an event causes: the decision about a window, the window's display and its reports, and triggers.
namespace oq::test {
namespace {

/// Returns one line per decision: "event window: outcome".
std::vector<std::string> linesOf(const Value& decisions) {
  std::vector<std::string> lines;
  for (const Value& each : decisions) {
    const auto text = [&](const char* key) { return std::string(each.at(key).toString("-")); };
    lines.push_back(text("event") + " " + text("windowId") + ": " + text("outcome"));
  }
  return lines;
}

using Lines = std::vector<std::string>;

TEST_F(EngineTest, DecisionsContainTheReasonWhyAWindowWasNotShown) {
  receive("early");
  for (int i = 0; i < 3; ++i) receive("late");
  EXPECT_EQ(linesOf(engine->recentDecisions()), (Lines{"early -: waiting", "late -: waiting", "late -: waiting",
                                                       "late -: dropped because the waiting array is full"}));
  engine->keepRecentDecisions(256);
  deliverInApp({campaign("1", "buy", {{"count", 2}}), campaign("2", "buy"),
                campaign("3", "visit", {{"preEvent", {{"xwhat", "pay"}}}}), campaign("4", "none", {{"count", 0}}),
                campaign("9", "none"), campaign("5", "later", {{"startTime", "2026-03-10 12:00:01"}}),
                campaign("6", "gone", {{"endTime", "2026-03-10 11:59:59"}}), campaign("7", "close", {{"count", 2}}),
                campaign("8", "lost")});
  engine->recordTree()->removeTreeNode(engine->recordTree()->findTreeNodeById(8));
  engine->keepRecentDecisions(256);
  for (const char* name : {"buy", "visit", "none", "later", "gone", "close", "lost", "unknown"}) receive(name);
  receive("buy");
  engine->shown().back().action(3, nullptr);  // the user closes window 7
  receive("close");
  EXPECT_EQ(linesOf(engine->recentDecisions()),
            (Lines{"buy 2: another window matched first", "buy 1: counted and handed to the screen",
                   "visit 3: pre-condition not met", "visit -: no match", "none 9: another window matched first",
                   "none 4: count used up", "later 5: before start", "gone 6: after end",
                   "close 7: counted and handed to the screen", "lost 8: no record", "unknown -: no match",
                   "buy 2: another window matched first", "buy 1: already shown in this run",
                   "close 7: already shown in this run"}));
  const Date noon = *DateFormatter("yyyy-MM-dd HH:mm:ss").dateFromString("2026-03-10 12:00:00");
  EXPECT_EQ(engine->recentDecisions().at(0).at("time"), Value(1000 * secondsSince1970(noon)));
  relaunch();
  receive("close");
  receive("buy");
  EXPECT_EQ(linesOf(engine->recentDecisions()),
            (Lines{"close 7: closed by the user in an earlier run", "buy 2: another window matched first",
                   "buy 1: counted and handed to the screen"}));
}

TEST(DecisionLog, KeepsTheNewestEntries) {
  OQDecisionLog log(3);
  EXPECT_EQ(log.entries(), JSONValue(JSONArray()));
  OQWindowEvent event;
  for (int i = 0; i < 5; ++i) {
    event.setXwhat(JSONValue("e" + std::to_string(i)));
    log.record(OQDecision::NoMatch, &event);
  }
  EXPECT_EQ(linesOf(publicView(log.entries())), (Lines{"e2 -: no match", "e3 -: no match", "e4 -: no match"}));
  const std::string longest(94, 'x');
  event.setXwhat(JSONValue(longest + "键"));  // the log cuts names at 95 bytes, here inside the last character
  log.record(OQDecision::Waiting, &event);
  event.setXwhat(JSONValue(5));
  log.record(OQDecision::Waiting, &event);
  log.record(OQDecision::Shown, nullptr, std::make_shared<OQWindowData>());
  EXPECT_EQ(linesOf(publicView(log.entries())),
            (Lines{longest + " -: waiting", "- -: waiting", "- -: counted and handed to the screen"}));
  log.setCapacity(0);
  log.record(OQDecision::Waiting, &event);
  EXPECT_EQ(log.entries(), JSONValue(JSONArray()));
}

constexpr const char* reportPath = "/push/sdk/in_app/callback";

TEST_F(EngineTest, TimeRangeIsExactToTheSecondAndInvalidTimesDoNotRestrict) {
  struct Case {
    JSONValue start, end;
    bool shown = true;
  };
  std::vector<Case> cases = {
      {"2026-03-10 12:00:00", "2026-03-10 12:00:00"},
      {"2026-03-10 12:00:01", "2026-03-31 00:00:00", false},
      {"2026-03-01 00:00:00", "2026-03-10 11:59:59", false},
      {"2026-03-11 00:00:00", nullptr, false},
  };
  for (const JSONValue& none : JSONArray{nullptr, "", "2026-02-30 00:00:00", "tomorrow", 5, "2026-03-10", JSONArray{}})
    cases.push_back({none, none});
  moveClock(0.4);  // fractions of a second are ignored
  std::size_t shown = 0;
  for (std::size_t i = 0; i < cases.size(); ++i) {
    const auto& [start, end, isShown] = cases[i];
    const std::string id = std::to_string(i);
    deliverInApp({campaign(id, id, {{"startTime", start}, {"endTime", end}, {"picture", nullptr}})});
    receive(id);
    EXPECT_EQ(engine->shown().size(), shown += isShown ? 1 : 0) << start << " " << end;
  }
}

TEST_F(EngineTest, WindowActionsAreLoggedAndReported) {
  struct Case {
    std::int64_t code;
    std::vector<std::string> entries;
    JSONValue name;
  };
  const std::vector<Case> cases = {
      {1, {"显示弹窗，弹窗类型：3"}, "$impDialog"},
      {2, {"点击了弹窗图片"}, "$clickDialog"},
      {3, {"点击了弹窗关闭按钮", "syncRecordTree 成功！"}, "$closeDialog"},
      {4, {"点击了弹窗left button"}, "$clickDialog"},
      {5, {"点击了弹窗right button"}, "$clickDialog"},
      {6, {"点击了弹窗middle button"}, "$clickDialog"},
      {7, {}, nullptr},
  };
  network->answer(reportPath, "", 500);
  deliverInApp({campaign("7", "buy")});
  receive("buy");
  ASSERT_EQ(engine->shown().size(), 1u);
  for (const Case& each : cases) {
    const std::size_t before = logEntriesButRequests().size();
    const std::size_t sent = network->requests(reportPath).size();
    engine->shown()[0].action(each.code, each.code == 4 ? JSONValue("https://shop.invalid/") : JSONValue());
    settle();
    std::vector<std::string> expected = each.entries;
    if (!each.name.is_null()) expected.emplace_back("statusCode:500\ndescripton:internal server error\n");
    EXPECT_EQ(logEntriesButRequests(before), expected) << each.code;
    const auto reports = network->requests(reportPath);
    ASSERT_EQ(reports.size(), sent + (each.name.is_null() ? 0 : 1)) << each.code;
    if (each.name.is_null()) continue;
    const JSONValue expectedEvents = JSONArray{{{"appid", "shop"},
                                                {"xwho", "ann"},
                                                {"xwhat", each.name},
                                                {"xwhen", std::llround(secondsSince1970(currentDate()) * 1000)},
                                                {"xcontext", {{"$dialog_id", "7"}, {"$dialog_type", each.code}}}}};
    EXPECT_EQ(reports.back().json.at("events"), expectedEvents);
  }
}

TEST_F(EngineTest, ReportsPushMessagesAndAlsoAWindowWithoutTypeAndId) {
  const JSONValue msg = {{"$push_channel", "mail"}, {"activityId", 5}, {"other", 1}};
  engine->pushTrack(0, msg);
  settle();
  EXPECT_THAT(logEntriesButRequests(),
              testing::ElementsAre(testing::ContainsRegex("^上报事件成功, event:\\{.*(\n.*)*oq_push_delivery"),
                                   testing::StartsWith("上报事件 data:\n{")));
  engine->pushTrack(1, {{"activityId", nullptr}});
  engine->pushTrack(2, msg);
  engine->pushTrack(1, "no dictionary");
  engine->reportWindowEventWithName(std::nullopt, 0, OQWindowData());
  settle();
  const std::pair<JSONValue, JSONValue> expected[] = {
      {"$oq_push_delivery", {{"$push_channel", "mail"}, {"activityId", 5}}},
      {"$oq_push_click", {{"$push_channel", ""}, {"activityId", ""}}},
      {"", {{"$dialog_id", ""}}}};
  const auto reports = network->requests(reportPath);
  ASSERT_EQ(reports.size(), std::size(expected));
  for (std::size_t i = 0; i < reports.size(); ++i) {
    const JSONValue& event = reports[i].json.at("events").at(0);
    EXPECT_EQ(event.at("xwho"), JSONValue(""));
    EXPECT_EQ(event.at("xwhat"), expected[i].first);
    EXPECT_EQ(event.at("xcontext"), expected[i].second);
  }
}

constexpr const char* triggerPath = "/push/sdk/event/trigger";

TEST_F(EngineTest, EachEventSetsTheUserAndTheApplication) {
  struct Case {
    JSONValue info;
    std::optional<std::string> userId, appid;
  };
  const std::vector<Case> cases = {
      {uploadInfo("buy"), "ann", "shop"},
      {{{"xwho", 42}, {"appid", 7.5}, {"xwhat", "buy"}}, "42", "7.5"},
      {JSONValue("no dictionary"), "42", "7.5"},
      {nullptr, "42", "7.5"},
      {{{"xwho", ""}, {"appid", nullptr}, {"xwhat", "buy"}}, "", std::nullopt},
      {JSONDictionary{}, std::nullopt, std::nullopt},
  };
  for (const Case& each : cases) {
    engine->onEventDataReceived(each.info);
    EXPECT_EQ(engine->userId(), each.userId) << each.info;
    EXPECT_EQ(engine->appid(), each.appid) << each.info;
    const JSONValue stored = OQUserDefaults::defaultsWithName("group.oqsdk").objectForKey("oq_xwho");
    EXPECT_EQ(stored, each.userId ? JSONValue(*each.userId) : JSONValue()) << each.info;
  }
}

TEST_F(EngineTest, KeepsTheThreeOldestEventsUntilAListArrives) {
  OQSDKManager::Events events;
  for (const char* name : {"a", "b", "c", "d"}) {
    events.push_back(std::make_shared<OQWindowEvent>());
    events.back()->setModelWithDic(uploadInfo(name));
  }
  engine->triggerEventMatch(events[0]);
  engine->triggerEventMatch(events[0]);
  EXPECT_EQ(engine->waitingEvents().size(), 1u) << "the same object is held once";
  for (const auto& event : events) engine->triggerEventMatch(event);
  const OQSDKManager::Events oldest(events.begin(), events.begin() + 3);
  EXPECT_EQ(engine->waitingEvents(), oldest);
  EXPECT_EQ(engine->waitingEvents1(), oldest);

  deliverInApp({});
  EXPECT_EQ(engine->waitingEvents(), oldest) << "an empty list changes nothing";
  deliverInApp({campaign("3", "c"), campaign("4", "d"), campaign("1", "a"), campaign("2", "b")});
  EXPECT_EQ(engine->shownIds(), (std::vector<std::string>{"1", "2", "3"})) << "in the order of arrival";
  EXPECT_TRUE(engine->waitingEvents().empty());
  EXPECT_EQ(engine->waitingEvents1(), oldest) << "the other list is still to come";

  deliverSubscriptions({campaign("9", "b")});
  EXPECT_TRUE(engine->waitingEvents1().empty());
  ASSERT_EQ(network->requests(triggerPath).size(), 1u);
}

TEST_F(EngineTest, WindowIsReadyOncePerRunUnlessItsActivationIsCleared) {
  deliverInApp({campaign("7", "buy", {{"count", 3}}), campaign("8", "view", {{"count", 3}})});
  const auto windows = engine->inAppDataArray();
  engine->_showWindowWithData(windows->at(0));
  engine->_showWindowWithData(windows->at(0));
  engine->_showWindowWithData(nullptr);
  EXPECT_EQ(engine->shownIds(), std::vector<std::string>{"7"});
  EXPECT_TRUE(engine->readyToShowWithData(*windows->at(1)));
  EXPECT_FALSE(engine->readyToShowWithData(*windows->at(1)));
  // clearTreeNodeActivateState() has an effect only while treeNodesInit() is false, and never on windows that the user
  // closed.
  engine->recordTree()->findTreeNodeById(8)->setUserClosed(true);
  engine->clearTreeNodeActivateState();
  EXPECT_FALSE(engine->readyToShowWithData(*windows->at(0)));
  engine->setTreeNodesInit(false);
  engine->clearTreeNodeActivateState();
  EXPECT_TRUE(engine->treeNodesInit());
  EXPECT_TRUE(engine->readyToShowWithData(*windows->at(0)));
  EXPECT_FALSE(engine->readyToShowWithData(*windows->at(1)));
  EXPECT_EQ(usedCountsOnDisk(), (std::vector<std::pair<std::int64_t, std::int64_t>>{{7, 2}, {8, 1}}));
  engine->setSubscribeDataArray(*windows);
  engine->syncSubscribeData();
  EXPECT_EQ(logEntriesButRequests().back(), "syncSubscribeData 成功！");
  relaunch();
  EXPECT_EQ(engine->subscribeDataArray()->size(), 2u);
  engine->setInAppDataArray({});
  engine->setMaxWaitingReceivedEventsNum(1);
  for (const char* name : {"a", "b"}) receive(name);
  EXPECT_EQ(engine->waitingEvents().size(), 1u);
}

TEST_F(EngineTest, PreConditionMustBeMetFirstAndOnlyOnce) {
  const JSONValue visit = {{"xwhat", "visit"}};
  deliverInApp({campaign("1", "buy", {{"preEvent", visit}}), campaign("2", "visit", {{"preEvent", visit}}),
                campaign("3", "pay", {{"preEvent", {{"xwhat", "pay"}, {"xcontext", {{"a", "1"}}}}}})});
  receive("buy");
  EXPECT_TRUE(engine->shown().empty());
  receive("visit");
  EXPECT_EQ(engine->shownIds(), std::vector<std::string>{"2"}) << "one event may satisfy both";
  EXPECT_EQ(engine->inAppDataArray()->at(0)->preEvent(), nullptr);
  receive("buy");
  EXPECT_EQ(engine->shownIds(), (std::vector<std::string>{"2", "1"}));
  receive("pay", {{"a", "2"}});
  EXPECT_NE(engine->inAppDataArray()->at(2)->preEvent(), nullptr);
  EXPECT_EQ(engine->shown().size(), 2u);
}

TEST_F(EngineTest, SubscribedEventIsReportedOnceAndShowsNoWindow) {
  deliverSubscriptions(
      {campaign("5", "view"), campaign("6", "buy", {{"preEvent", {{"xwhat", "never"}}}}), campaign("7", "buy")});
  receive("buy", {{"sku", "x"}});
  EXPECT_TRUE(engine->shown().empty());
  const std::vector<std::string> entries = logEntriesButRequests();
  EXPECT_EQ(entries.at(entries.size() - 2), "触发事件成功!事件名：buy");
  EXPECT_TRUE(entries.back().starts_with("触发事件 data:\n{"));
  const auto triggers = network->requests(triggerPath);
  ASSERT_EQ(triggers.size(), 1u);
  const JSONValue expected =
      JSONArray{{{"appid", "shop"}, {"xwho", "ann"}, {"xwhat", "buy"}, {"xwhen", 1}, {"xcontext", {{"sku", "x"}}}}};
  EXPECT_EQ(triggers[0].json.at("events"), expected);
}

}  // namespace
}  // namespace oq::test
