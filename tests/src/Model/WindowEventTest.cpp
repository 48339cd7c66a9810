// SPDX-License-Identifier: Apache-2.0
#include "Model/OQWindowEvent.h"

#include <gtest/gtest.h>

#include "src/TemporaryFolder.h"

namespace oq {
namespace {

using test::json;

OQWindowEvent* filled(OQWindowEvent& event, const std::string& text) {
  event.setModelWithDic(json(text));
  return &event;
}

TEST(WindowEvent, NeverMatchesWithoutAConditionOrWhenUnavailable) {
  OQWindowEvent event, condition;
  filled(event, R"({"xwhat": "buy"})");
  filled(condition, R"({"xwhat": "buy"})");
  EXPECT_FALSE(event.matches(nullptr));
  EXPECT_TRUE(event.matches(condition));
  filled(condition, "[]");
  EXPECT_EQ(condition.xwhat(), JSONValue("buy"));  // only the availability changes
  EXPECT_FALSE(event.matches(condition));
}

TEST(WindowEvent, IsSentWithEveryKey) {
  OQWindowEvent event;
  EXPECT_EQ(JSONValue(filled(event, R"({"xwhen": "12.5"})")->toDictionary()),
            json(R"({"appid": "", "xwho": "", "xwhat": "", "xwhen": 12.5, "xcontext": {}})"));
  EXPECT_EQ(
      JSONValue(
          filled(event, R"({"appid": 1, "xwhat": "a", "xwho": "b", "xwhen": 3, "xcontext": [1]})")->toDictionary()),
      json(R"({"appid": 1, "xwho": "b", "xwhat": "a", "xwhen": 3.0, "xcontext": [1]})"));
}

}  // namespace
}  // namespace oq
