// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <future>

#include "Foundation/Files/FileManager.h"
#include "Foundation/Stores/UserDefaults.h"
#include "Model/OQRecordTree.h"
#include "Model/OQWindowData.h"
#include "Storage/OQDataArchiver.h"
#include "Storage/OQUserDefaults.h"
#include "support/EngineTest.h"

namespace oq::test {
namespace {

constexpr const char* loginPath = "/push/sdk/login";
constexpr const char* inAppPath = "/push/sdk/in_app";
constexpr const char* subscribePath = "/push/sdk/event/subscribe";

JSONValue storedToken() {
  return OQUserDefaults::defaultsWithName("group.oqsdk").objectForKey("oq_token");
}

class EngineListsTest : public EngineTest {
 protected:
  void logIn() {
    network->answer(loginPath, R"({"code":0,"token":"T"})");
    engine->login();
    settle();
  }
  std::size_t sent(const char* path) const { return network->requests(path).size(); }
};

TEST_F(EngineListsTest, LoginFetchesNoListsWithoutAUserOrAToken) {
  relaunch();
  logIn();
  EXPECT_EQ(engine->token(), "T");
  EXPECT_EQ(storedToken(), JSONValue("T"));
  EXPECT_EQ(network->requests().size(), 1u);
  engine->setUserId("ann");
  logIn();
  const std::size_t before = network->requests().size();
  network->answer(loginPath, R"({"code":0,"token":null})");
  engine->login();
  settle();
  EXPECT_EQ(engine->token(), std::nullopt);
  EXPECT_EQ(storedToken(), JSONValue()) << "forgotten";
  EXPECT_EQ(network->requests().size(), before + 1);
}

TEST_F(EngineListsTest, WindowsAreFetchedOncePerCalendarDay) {
  relaunch();
  engine->setUserId("ann");
  network->fail(inAppPath, Error{URLErrorDomain, URLErrorTimedOut, "timed out"});
  setNow("2026-03-10 23:59:58");
  logIn();
  relaunch();
  engine->setUserId("ann");
  logIn();
  EXPECT_EQ(sent(subscribePath), 2u);
  EXPECT_EQ(sent(inAppPath), 1u) << "a failed fetch is not repeated on the same day";
  setNow("2026-03-11 00:00:00");
  logIn();
  EXPECT_EQ(sent(subscribePath), 3u);
  EXPECT_EQ(sent(inAppPath), 2u);
}

TEST_F(EngineListsTest, FailedRequestsWriteTheDescribedLogEntries) {
  struct Case {
    ScriptedTransport::Answer answer;
    std::vector<std::string> entries;  ///< {data} is replaced by the kind of request
  };
  const Error timeout{URLErrorDomain, -1001, "timed out"};
  const std::vector<Case> cases = {
      {{"", 0, timeout}, {"code:-1001\ndescripton:timed out\n"}},
      {{"{\"code\":0}", 500}, {"statusCode:500\ndescripton:internal server error\n"}},
      {{"<html>", 200}, {"{data} data:\n(null)"}},
      {{R"({"code":0,"tok)", 200}, {"{data} data:\n(null)"}},
      {{"[1]", 200}, {"{data} data:\n[\n  1\n]"}},
      {{"7", 200}, {"{data} data:\n7"}},
      {{R"({"code":1,"message":"x"})", 200},
       {"code:1\nmessage:x\n", "{data} data:\n{\n  \"code\" : 1,\n  \"message\" : \"x\"\n}"}},
      {{R"({"code":"12"})", 200}, {"code:12\nmessage:(null)\n", "{data} data:\n{\n  \"code\" : \"12\"\n}"}},
      {{R"({"data":[]})", 200}, {"{data} data:\n{\n  \"data\" : []\n}"}},
      {{R"({"data":"no"})", 200}, {"{data} data:\n{\n  \"data\" : \"no\"\n}"}},
  };
  relaunch();
  logIn();
  deliverInApp({campaign("7", "buy")});
  deliverSubscriptions({campaign("8", "buy")});
  const auto fileBytes = [] {
    std::vector<std::optional<Data>> bytes;
    for (const char* name : {OQInAppWindowDataFileName, OQSubscribeWindowDataFileName, OQRecordTreeDataFileName}) {
      bytes.push_back(contentsOfFile(documentsDirectory() / name));
    }
    return bytes;
  };
  const auto filesBefore = fileBytes();
  const std::vector<std::pair<const char*, std::pair<const char*, void (OQSDKManager::*)()>>> kinds = {
      {"login", {loginPath, &OQSDKManager::login}},
      {"in_app", {inAppPath, &OQSDKManager::getInAppList}},
      {"subscribe", {subscribePath, &OQSDKManager::getSubscribeList}}};
  for (const auto& [kind, request] : kinds) {
    for (const Case& each : cases) {
      network->script(request.first, [&](const auto&) { return each.answer; });
      const std::size_t before = logEntriesButRequests().size();
      ((*engine).*request.second)();
      settle();
      const std::vector<std::string> entries = logEntriesButRequests(before);
      std::vector<std::string> expected = each.entries;
      for (std::string& entry : expected) {
        if (entry.starts_with("{data}")) entry.replace(0, 6, kind);
      }
      // Blanks are ignored, since the formatting of containers is tested elsewhere.
      const auto packed = [](std::vector<std::string> texts) {
        for (std::string& text : texts) std::erase(text, ' ');
        return texts;
      };
      EXPECT_EQ(packed(entries), packed(expected)) << kind << " " << each.answer.body;
      // A successful login without a token removes the stored one; another test covers that.
      const bool isLoginWithoutToken = each.answer.body.starts_with("{\"data\"") && request.first == loginPath;
      if (isLoginWithoutToken) logIn();
      EXPECT_EQ(engine->token(), "T") << kind << " " << each.answer.body;
      EXPECT_EQ(storedToken(), JSONValue("T")) << kind << " " << each.answer.body;
      EXPECT_EQ(fileBytes(), filesBefore) << kind << " " << each.answer.body;
    }
  }
  EXPECT_EQ(engine->inAppDataArray()->size(), 1u);
  EXPECT_EQ(engine->subscribeDataArray()->size(), 1u);
}

TEST_F(EngineListsTest, NewListReplacesTheOldOneAndKeepsTheRecords) {
  relaunch();
  deliverInApp({campaign("7", "buy", {{"count", 3}}), campaign("8", "view")});
  receive("buy");
  const std::size_t before = logEntriesButRequests().size();
  deliverInApp({campaign("9", "buy"), campaign("7", "sell", {{"count", 5}, {"startTime", ""}})});

  ASSERT_EQ(engine->inAppDataArray()->size(), 2u);
  EXPECT_EQ(engine->inAppDataArray()->at(0)->windowId(), JSONValue("9"));
  std::vector<std::int64_t> ids;
  for (const auto& node : engine->recordTree()->copyOfNodes()) ids.push_back(node->nodeId());
  EXPECT_EQ(ids, (std::vector<std::int64_t>{7, 8, 9})) << "refreshed, kept, appended";
  const auto node = engine->recordTree()->findTreeNodeById(7);
  EXPECT_EQ(node->count(), 5);
  EXPECT_EQ(node->usedCount(), 1);
  EXPECT_TRUE(node->isActivated()) << "shown in this run";
  EXPECT_EQ(node->startTime(), JSONValue("2026-03-01 00:00:00"));

  const std::vector<std::string> entries = logEntriesButRequests(before);
  ASSERT_EQ(entries.size(), 3u);
  EXPECT_EQ(entries[0], "syncInAppData 成功！");
  EXPECT_EQ(entries[1], "syncRecordTree 成功！");
  EXPECT_TRUE(entries[2].starts_with("in_app data:\n")) << entries[2];
  const auto onDisk = OQDataArchiver::getDataForPath<OQWindowData>(documentsDirectory() / OQInAppWindowDataFileName);
  ASSERT_TRUE(onDisk);
  EXPECT_EQ(onDisk->size(), 2u);
  EXPECT_EQ(network->requests("/9.png").size(), 1u) << "pictures are prefetched";
}

TEST_F(EngineListsTest, SubscriptionsHaveNoRecordsAndNoPictures) {
  relaunch();
  deliverSubscriptions({campaign("7", "buy"), JSONValue("no dictionary"), campaign("8", "view")});
  EXPECT_EQ(engine->subscribeDataArray()->size(), 3u);
  EXPECT_TRUE(engine->recordTree()->copyOfNodes().empty());
  EXPECT_EQ(network->requests().size(), 1u);
  EXPECT_FALSE(std::filesystem::exists(documentsDirectory() / OQRecordTreeDataFileName));
}

TEST_F(EngineListsTest, ResponseForADestroyedEngineIsIgnored) {
  relaunch();
  std::promise<void> engineGone;
  network->script(loginPath, [&](const auto&) {
    engineGone.get_future().wait();
    return ScriptedTransport::Answer{R"({"code":0,"token":"late"})"};
  });
  engine->login();
  engine.reset();
  engineGone.set_value();
  ASSERT_TRUE(network->settle());
  EXPECT_EQ(storedToken(), JSONValue());
  EXPECT_TRUE(logEntriesButRequests().empty());
}

}  // namespace
}  // namespace oq::test
