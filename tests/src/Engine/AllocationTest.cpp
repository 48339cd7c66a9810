// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <set>

#include "Model/OQRecordTree.h"
#include "Model/OQWindowData.h"
#include "support/EngineTest.h"
#include "support/Faults.h"

// The sanitizers have their own operators new and delete.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

namespace oq::test {
namespace {

/// Covers matching, pre-conditions, records and the decision log.
TEST_F(EngineTest, EventWithoutAWindowDoesNotAllocate) {
  relaunch();
  JSONArray records;
  for (int i = 0; i < 200; ++i) {
    const std::string name = "e" + std::to_string(i % 10);
    const JSONValue awaited = i % 3 == 0 ? JSONValue{{"xwhat", "e0"}} : JSONValue();
    records.push_back(
        campaign(std::to_string(i), name,
                 {{"count", 0},
                  {"preEvent", awaited},
                  {"picture", nullptr},
                  {"event", {{"xwhat", name}, {"xcontext", {{"k" + std::to_string(i % 4), std::to_string(i % 5)}}}}}}));
  }
  records.push_back(campaign("1000", "e11", {{"preEvent", {{"xwhat", "never"}}}}));
  records.push_back(campaign("1001", "e12"));
  deliverInApp(records);
  engine->recordTree()->removeTreeNode(engine->recordTree()->findTreeNodeById(1001));
  std::vector<std::shared_ptr<OQWindowEvent>> events;
  for (int i = 0; i < 13; ++i) {
    JSONDictionary context;
    for (int k = 0; k < i; ++k) context["k" + std::to_string(k)] = std::to_string(k);
    events.push_back(std::make_shared<OQWindowEvent>());
    events.back()->setModelWithDic(uploadInfo("e" + std::to_string(i), context));
  }
  const auto bringAll = [&] {
    for (const auto& event : events) engine->triggerEventMatchInApp(event);
  };
  bringAll();  // clears the satisfied pre-conditions
  const auto before = Faults::allocationsOfThread();
  for (int round = 0; round < 100; ++round) bringAll();
  EXPECT_EQ(Faults::allocationsOfThread() - before, 0u);
  auto counted = std::make_unique<int>(1);
  EXPECT_EQ(Faults::allocationsOfThread() - before, 1u) << "the allocation counter works";
  std::set<std::string> outcomes;
  const Value decisions = engine->recentDecisions();
  for (const Value& each : decisions) outcomes.emplace(each.at("outcome").toString());
  EXPECT_EQ(outcomes, (std::set<std::string>{"another window matched first", "count used up", "no match", "no record",
                                             "pre-condition not met"}));
}

}  // namespace
}  // namespace oq::test

#endif
