// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cmath>

#include "Foundation/Files/FileManager.h"
#include "Model/OQRecordTree.h"
#include "Model/OQWindowData.h"
#include "Storage/OQDataArchiver.h"
#include "support/EngineTest.h"

namespace oq::test {
namespace {

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
  for (const JSONValue& none : JSONArray{nullptr, "", "2026-02-30 00:00:00", "2026-13-01 00:00:00", "tomorrow", 5,
                                         "2026-03-10", " 2026-03-11 00:00:00", "99999-01-01 00:00:00", JSONArray{}})
    cases.push_back({none, none});
  relaunch();
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

TEST_F(EngineTest, ActionsAreLoggedAndReported) {
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
      {0, {}, nullptr},
      {7, {}, nullptr},
      {-1, {}, nullptr},
  };
  relaunch();
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

TEST_F(EngineTest, ReportsPushMessagesAndWindowsWithoutTypeAndId) {
  relaunch();
  const JSONValue msg = {{"$push_channel", "mail"}, {"activityId", 5}, {"other", 1}};
  engine->pushTrack(0, msg);
  settle();
  const auto entries = logEntriesButRequests();
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_TRUE(entries[0].starts_with("上报事件成功, event:{")) << entries[0];
  EXPECT_NE(entries[0].find("$oq_push_delivery"), std::string::npos);
  EXPECT_TRUE(entries[1].starts_with("上报事件 data:\n{")) << entries[1];
  engine->pushTrack(1, {{"activityId", nullptr}});
  engine->pushTrack(2, msg);
  engine->pushTrack(1, "no dictionary");
  engine->pushTrack(1, nullptr);
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

TEST_F(EngineTest, FailedWriteOfTheRecordsIsOnlyLogged) {
  relaunch();
  deliverInApp({campaign("7", "buy")});
  // A folder with the file's name, which a rename cannot replace.
  std::filesystem::remove(documentsDirectory() / OQRecordTreeDataFileName);
  std::filesystem::create_directories(documentsDirectory() / OQRecordTreeDataFileName / "in the way");
  receive("buy");
  EXPECT_EQ(engine->shown().size(), 1u) << "counted in memory, and shown";
  EXPECT_EQ(engine->recordTree()->findTreeNodeById(7)->usedCount(), 1);
  EXPECT_EQ(logEntriesButRequests().back(), "syncRecordTree 失败！");
}

}  // namespace
}  // namespace oq::test
