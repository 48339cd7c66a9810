// SPDX-License-Identifier: Apache-2.0

#include "Foundation/Values/JSONSerialization.h"
#include "Model/OQRecordTree.h"
#include "Model/OQWindowData.h"
#include "src/TemporaryFolder.h"
#include "support/EngineTest.h"

namespace oq::test {
namespace {

using EngineBadInputTest = EngineTest;

TEST_F(EngineBadInputTest, WindowsWithFieldsOfWrongTypesAreAccepted) {
  const char* fields[] = {"id",        "count",   "style",      "type",         "createTime", "changeTime",
                          "startTime", "endTime", "clickEvent", "event",        "preEvent",   "picture",
                          "title",     "content", "buttonLeft", "buttonMiddle", "buttonRight"};
  JSONArray values = test::json(R"([null, true, -1, 1.5, 1e300, 18446744073709551615, "", "x", [1, []], {},
    {"text": 5, "color": [], "background": true, "size": {}},
    {"xwhat": [], "xcontext": 5, "xwhen": "never", "xwho": false}])")
                         .as_array();
  values.push_back(JSONValue(std::string(100000, '9')));
  values.push_back(*valueWithJSONData(dataFromString(std::string(400, '[') + std::string(400, ']'))));
  JSONArray records = {nullptr, 5, "window", JSONArray{campaign("1", "buy")}};
  for (const char* field : fields) {
    for (const JSONValue& value : values) records.push_back(campaign("7", "buy", {{field, value}}));
  }
  deliverInApp(records);
  ASSERT_EQ(engine->inAppDataArray()->size(), records.size());
  for (int i = 0; i < 3; ++i) receive("buy", {{"k", "v"}});
  // The next run starts with the same windows.
  const auto ids = [&] {
    std::vector<std::pair<JSONValue, std::int64_t>> found;
    const auto windows = engine->inAppDataArray();
    for (const auto& window : *windows) found.emplace_back(window->windowId(), window->count());
    return found;
  };
  const auto before = ids();
  relaunch();
  EXPECT_EQ(ids(), before);
}

TEST_F(EngineBadInputTest, IdsOutOfRangeAreClamped) {
  network->answer("/push/sdk/in_app", R"({"code":0,"data":[
    {"id":99999999999999999999999,"count":1,"event":{"xwhat":"a"}},
    {"id":"99999999999999999999","count":1,"event":{"xwhat":"b"}},
    {"id":-1e40,"count":99999999999999999999,"event":{"xwhat":"c"}},
    {"id":"0x10","count":1,"event":{"xwhat":"d"}},
    {"id":"4","id":"5","count":1,"event":{"xwhat":"e"}}]})");
  engine->getInAppList();
  settle();
  std::vector<std::int64_t> ids;
  for (const auto& node : engine->recordTree()->copyOfNodes()) ids.push_back(node->nodeId());
  EXPECT_EQ(ids, (std::vector<std::int64_t>{INT64_MAX, INT64_MIN, 0, 5})) << "one record for the two largest";
  for (const char* name : {"a", "b", "c", "d", "e"}) receive(name);
  EXPECT_EQ(engine->shown().size(), 4u);
}

TEST_F(EngineBadInputTest, EventsWithValuesOfWrongTypesAreAccepted) {
  deliverInApp({campaign("1", "buy", {{"count", 1}})});
  JSONValue deep = "core";
  for (int i = 0; i < 2000; ++i)
    deep = i % 2 ? JSONValue(JSONArray{std::move(deep)}) : JSONValue{{"k", std::move(deep)}};
  JSONDictionary wide;
  for (int i = 0; i < 3000; ++i) wide[std::to_string(i)] = std::to_string(i);
  for (const JSONValue& value :
       JSONArray{deep, wide, std::string(1 << 20, 'x'), "\xff\xfe", std::string("a\0b", 3), 1e308}) {
    for (const char* key : {"xwho", "appid", "xwhat", "xwhen", "xcontext"}) {
      JSONValue info = uploadInfo("view");
      info.as_object()[key] = value;
      engine->onEventDataReceived(info);
    }
  }
  receive("buy");
  EXPECT_EQ(engine->shownIds(), std::vector<std::string>{"1"});
  EXPECT_EQ(engine->userId(), "ann");
}

}  // namespace
}  // namespace oq::test
