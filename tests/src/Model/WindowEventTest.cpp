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

TEST(WindowEvent, MatchesByNameAndByTheSmallerContext) {
  const std::string buy = R"({"xwhat": "buy", "xcontext": {"a": "1", "b": "2"}})";
  struct {
    std::string event, condition;
    bool matches;
  } cases[] = {
      {R"({"xwhat": "buy", "xcontext": {"a": "1"}})", buy, true},
      {R"({"xwhat": "buy", "xcontext": {"a": "9"}})", buy, false},
      {R"({"xwhat": "buy", "xcontext": {"z": "1"}})", buy, false},
      {R"({"xwhat": "buy", "xcontext": {"b": "2", "a": "1"}})", buy, true},
      {R"({"xwhat": "buy", "xcontext": {"a": "1", "c": "2"}})", buy, false},
      {R"({"xwhat": "buy", "xcontext": {"a": "1", "b": "3", "d": "x"}})", buy, false},
      {R"({"xwhat": "buy", "xcontext": {"a": "1", "b": "2", "d": 4}})", buy, true},
      {R"({"xwhat": "buy", "xcontext": {}})", buy, true},
      {R"({"xwhat": "buy"})", buy, true},
      {R"({"xwhat": "buy", "xcontext": "a"})", buy, true},  // no dictionary: no properties
      {R"({"xwhat": "Buy", "xcontext": {"a": "1"}})", buy, false},
      {R"({"xwhat": "buy", "xcontext": {"a": "1"}})", R"({"xwhat": "buy"})", true},
      {R"({"xwhat": "buy", "xcontext": {"a": "1"}})", R"({"xwhat": "buy", "xcontext": [1, 2, 3]})", true},
      {R"({"xwhat": "buy", "xcontext": {"n": 1}})", R"({"xwhat": "buy", "xcontext": {"n": "1"}})", false},
      {R"({"xwhat": "buy", "xcontext": {"n": 1}})", R"({"xwhat": "buy", "xcontext": {"n": 1}})", false},
      {R"({"xwhat": "buy", "xcontext": {"n": null}})", R"({"xwhat": "buy", "xcontext": {"n": null}})", false},
      {R"({"xwhat": 5})", R"({"xwhat": 5})", false},
      {R"({})", R"({})", false},
      {R"({"xwhat": ""})", R"({"xwhat": ""})", true},
      {R"({"xwhat": "buy"})", R"("buy")", false},
      {R"(["buy"])", R"({"xwhat": "buy"})", false},
  };
  for (const auto& c : cases) {
    OQWindowEvent event, condition;
    EXPECT_EQ(filled(event, c.event)->matches(filled(condition, c.condition)), c.matches)
        << c.event << " against " << c.condition;
  }
}

TEST(WindowEvent, NeverMatchesWithoutAConditionOrOnceUnavailable) {
  OQWindowEvent event, condition;
  filled(event, R"({"xwhat": "buy"})");
  filled(condition, R"({"xwhat": "buy"})");
  EXPECT_FALSE(event.matches(nullptr));
  EXPECT_TRUE(event.matches(condition));
  filled(condition, "[]");
  EXPECT_EQ(condition.xwhat(), Value("buy"));  // only the availability changes
  EXPECT_FALSE(event.matches(condition));
}

TEST(WindowEvent, IsSentWithEveryKey) {
  OQWindowEvent event;
  EXPECT_EQ(Value(filled(event, R"({"xwhen": "12.5"})")->toDictionary()),
            json(R"({"appid": "", "xwho": "", "xwhat": "", "xwhen": 12.5, "xcontext": {}})"));
  EXPECT_EQ(Value(filled(event, R"({"appid": 1, "xwhat": "a", "xwho": "b", "xwhen": 3, "xcontext": [1]})")
                      ->toDictionary()),
            json(R"({"appid": 1, "xwho": "b", "xwhat": "a", "xwhen": 3.0, "xcontext": [1]})"));
}

}  // namespace
}  // namespace oq
