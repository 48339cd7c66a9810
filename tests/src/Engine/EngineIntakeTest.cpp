// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "Model/OQWindowData.h"
#include "Storage/OQUserDefaults.h"
#include "support/EngineTest.h"

namespace oq::test {
namespace {

constexpr const char* triggerPath = "/push/sdk/event/trigger";

JSONValue storedUser() {
  return OQUserDefaults::defaultsWithName("group.oqsdk").objectForKey("oq_xwho");
}

std::shared_ptr<OQWindowEvent> eventNamed(const std::string& name) {
  auto event = std::make_shared<OQWindowEvent>();
  event->setModelWithDic(uploadInfo(name));
  return event;
}

TEST_F(EngineTest, EachEventSetsTheUserAndTheApplication) {
  relaunch();
  struct Case {
    JSONValue info;
    std::optional<std::string> userId, appid;
  };
  const std::vector<Case> cases = {
      {uploadInfo("buy"), "ann", "shop"},
      {{{"xwho", 42}, {"appid", 7.5}, {"xwhat", "buy"}}, "42", "7.5"},
      {JSONValue("no dictionary"), "42", "7.5"},
      {JSONArray{1, 2}, "42", "7.5"},
      {nullptr, "42", "7.5"},
      {{{"xwho", ""}, {"appid", nullptr}, {"xwhat", "buy"}}, "", std::nullopt},
      {JSONDictionary{}, std::nullopt, std::nullopt},
  };
  for (const Case& each : cases) {
    engine->onEventDataReceived(each.info);
    EXPECT_EQ(engine->userId(), each.userId) << each.info;
    EXPECT_EQ(engine->appid(), each.appid) << each.info;
    EXPECT_EQ(storedUser(), each.userId ? JSONValue(*each.userId) : JSONValue()) << each.info;
  }
}

TEST_F(EngineTest, KeepsTheThreeOldestEventsUntilAListArrives) {
  relaunch();
  const std::vector<std::shared_ptr<OQWindowEvent>> events = {eventNamed("a"), eventNamed("b"), eventNamed("c"),
                                                              eventNamed("d")};
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

TEST_F(EngineTest, PreConditionMustBeMetFirstAndOnlyOnce) {
  relaunch();
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
  relaunch();
  deliverSubscriptions(
      {campaign("5", "view"), campaign("6", "buy", {{"preEvent", {{"xwhat", "never"}}}}), campaign("7", "buy")});
  receive("buy", {{"sku", "x"}});
  EXPECT_TRUE(engine->shown().empty());
  const auto triggers = network->requests(triggerPath);
  ASSERT_EQ(triggers.size(), 1u);
  const JSONValue expected =
      JSONArray{{{"appid", "shop"}, {"xwho", "ann"}, {"xwhat", "buy"}, {"xwhen", 1}, {"xcontext", {{"sku", "x"}}}}};
  EXPECT_EQ(triggers[0].json.at("events"), expected);
}

TEST_F(EngineTest, TriggersLogTheirResponses) {
  relaunch();
  deliverSubscriptions({campaign("5", "buy")});
  const std::vector<std::pair<ScriptedTransport::Answer, std::vector<std::string>>> cases = {
      {{R"({"code":0})"}, {"触发事件成功!事件名：buy", "触发事件 data:\n{\n  \"code\": 0\n}"}},
      {{R"({"code":3})"}, {"code:3\nmessage:(null)\n", "触发事件 data:\n{\n  \"code\": 3\n}"}}};
  for (const auto& [answer, expected] : cases) {
    network->script(triggerPath, [&answer = answer](const auto&) { return answer; });
    const std::size_t before = logEntriesButRequests().size();
    receive("buy");
    std::vector<std::string> entries = logEntriesButRequests(before + 1);
    for (auto& entry : entries) std::erase(entry, ' ');
    auto packed = expected;
    for (auto& entry : packed) std::erase(entry, ' ');
    EXPECT_EQ(entries, packed) << answer.body;
  }
}

}  // namespace
}  // namespace oq::test
