// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "Engine/OQDecisionLog.h"
#include "Model/OQRecordTree.h"
#include "Model/OQWindowData.h"
#include "support/EngineTest.h"

namespace oq::test {
namespace {

/// "event window: outcome" of each entry.
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
  relaunch();
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
  for (const auto& node : engine->recordTree()->copyOfNodes()) {
    if (node->nodeId() == 8) engine->recordTree()->removeTreeNode(node);
  }
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
  event.setXwhat(JSONValue(longest + "键"));  // the limit is inside the last character
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

}  // namespace
}  // namespace oq::test
