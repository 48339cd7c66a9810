// SPDX-License-Identifier: Apache-2.0

#include <functional>
#include <future>

#include "Foundation/Files/FileManager.h"
#include "Foundation/Stores/UserDefaults.h"
#include "Model/OQRecordTree.h"
#include "Model/OQWindowData.h"
#include "Storage/OQDataArchiver.h"
#include "Storage/OQUserDefaults.h"
#include "oqsdk/AnalyticsHook.h"
#include "oqsdk/OQObserverListener.h"
#include "oqsdk/OQSDKConstants.h"
#include "oqsdk/TorvelinOqManager.h"
#include "support/EngineTest.h"
#include "support/Threads.h"

namespace oq::test {
namespace {

constexpr const char* loginPath = "/push/sdk/login";
constexpr const char* inAppPath = "/push/sdk/in_app";
constexpr const char* subscribePath = "/push/sdk/event/subscribe";

constexpr const char* kFiles[] = {OQInAppWindowDataFileName, OQSubscribeWindowDataFileName, OQRecordTreeDataFileName};

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

/// A server that offers the extension "tester" at login may mark the user as a tester ("tester": true). A start at
/// which the daily rule also wants the window list fetches the list only once.
TEST_F(EngineListsTest, TestersFetchListsAtEveryStartAndOnReturningToTheForeground) {
  const auto countsAfter = [&](const std::function<void()>& action) {
    const auto windows = sent(inAppPath), subscriptions = sent(subscribePath);
    action();
    return std::pair(sent(inAppPath) - windows, sent(subscribePath) - subscriptions);
  };
  const auto start = [&](const std::string& offer, const std::string& tester) {
    network->answer(loginPath, R"({"code":0,"token":"T")" + offer + "}");
    network->answer(subscribePath, R"({"code":0,"data":[])" + tester + "}");
    relaunch();
    engine->setUserId("ann");
    return countsAfter([&] {
      engine->login();
      settle();
    });
  };
  const auto returnToForeground = [&] {
    return countsAfter([&] {
      engine->returnedToForeground();
      settle();
    });
  };
  const std::string offer = R"(,"extensions":["unknown",7,"tester"])", tester = R"(,"tester":true)";
  using Counts = std::pair<std::size_t, std::size_t>;
  EXPECT_EQ(start(offer, tester), Counts(1, 1)) << "by the daily rule";
  EXPECT_EQ(start(offer, tester), Counts(1, 1)) << "on the same day";
  const JSONValue names = JSONArray{"tester", "reports"};
  for (const char* path : {inAppPath, subscribePath})
    EXPECT_EQ(network->requests(path).back().json.at("extensions"), names);
  EXPECT_EQ(returnToForeground(), Counts(1, 1));
  // An extension that the server of one environment offered is not used with the server of another environment.
  OQUserDefaults::setEnvironment(OQEnvironmentTest);
  EXPECT_EQ(returnToForeground(), Counts(0, 0));
  OQUserDefaults::setEnvironment(OQEnvironmentProduction);
  network->answer(subscribePath, R"({"code":0})");
  EXPECT_EQ(returnToForeground(), Counts(1, 1)) << "the response says that the user is no tester any more";
  EXPECT_EQ(returnToForeground(), Counts(0, 0));
  EXPECT_EQ(start(offer, ""), Counts(0, 1)) << "once a day again";
  EXPECT_EQ(start("", tester), Counts(0, 1)) << "the extension was not offered in this run";
  EXPECT_EQ(network->requests(subscribePath).back().json.as_object().contains("extensions"), false);
  EXPECT_EQ(start(R"(,"extensions":["reports"])", tester), Counts(0, 1)) << "another extension was offered";
  moveClock(86400);
  EXPECT_EQ(start("", ""), Counts(1, 1));
}

TEST_F(EngineListsTest, FailedRequestsAreLoggedAndChangeNoTokenOrList) {
  struct Case {
    ScriptedTransport::Answer answer;
    std::vector<std::string> entries;  ///< {data} is replaced by the kind of request
  };
  const Error timeout{URLErrorDomain, -1001, "timed out"};
  const std::vector<Case> cases = {
      {{"", 0, timeout}, {"code:-1001\ndescripton:timed out\n"}},
      {{"{\"code\":0}", 500}, {"statusCode:500\ndescripton:internal server error\n"}},
      {{R"({"code":0,"tok)", 200}, {"{data} data:\n(null)"}},
      {{"[1]", 200}, {"{data} data:\n[\n  1\n]"}},
      {{R"({"code":1,"message":"x"})", 200},
       {"code:1\nmessage:x\n", "{data} data:\n{\n  \"code\" : 1,\n  \"message\" : \"x\"\n}"}},
      {{R"({"code":"12"})", 200}, {"code:12\nmessage:(null)\n", "{data} data:\n{\n  \"code\" : \"12\"\n}"}},
      {{R"({"data":[]})", 200}, {"{data} data:\n{\n  \"data\" : []\n}"}},
      {{"", 200}, {"{data} data:\n(null)"}},
      {{"{\"code\":0,\"token\":\"\xff\xfe\"}", 200}, {"{data} data:\n(null)"}},
      {{R"({"code":0,"token":"\ud800"})", 200}, {"{data} data:\n(null)"}},
      {{R"({"code":0,"data":)" + std::string(600, '[') + std::string(600, ']') + "}", 200}, {"{data} data:\n(null)"}},
  };
  logIn();
  deliverInApp({campaign("7", "buy")});
  deliverSubscriptions({campaign("8", "buy")});
  const auto fileBytes = [] {
    std::vector<std::optional<Data>> bytes;
    for (const char* name : kFiles) bytes.push_back(contentsOfFile(documentsDirectory() / name));
    return bytes;
  };
  const auto filesBefore = fileBytes();
  const std::tuple<const char*, const char*, void (OQSDKManager::*)()> kinds[] = {
      {"login", loginPath, &OQSDKManager::login},
      {"in_app", inAppPath, &OQSDKManager::getInAppList},
      {"subscribe", subscribePath, &OQSDKManager::getSubscribeList}};
  for (const auto& [kind, path, request] : kinds) {
    for (const Case& each : cases) {
      network->script(path, [&](const auto&) { return each.answer; });
      const std::size_t before = logEntriesButRequests().size();
      ((*engine).*request)();
      settle();
      std::vector<std::string> expected = each.entries;
      for (std::string& entry : expected) {
        if (entry.starts_with("{data}")) entry.replace(0, 6, kind);
      }
      EXPECT_EQ(logEntriesButRequests(before), expected) << kind << " " << each.answer.body;
      // A successful login without a token removes the stored one; another test covers that.
      const bool isLoginWithoutToken = each.answer.body.starts_with("{\"data\"") && path == loginPath;
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
  // Subscriptions have no records and no pictures.
  deliverSubscriptions({campaign("7", "sell"), JSONValue("no dictionary")});
  EXPECT_EQ(engine->subscribeDataArray()->size(), 2u);
  EXPECT_TRUE(engine->recordTree()->copyOfNodes().empty());
  EXPECT_EQ(network->requests().size(), 1u);
  EXPECT_FALSE(std::filesystem::exists(documentsDirectory() / OQRecordTreeDataFileName));

  deliverInApp({campaign("7", "buy", {{"count", 3}}), campaign("8", "view")});
  receive("buy");
  const std::size_t before = logEntriesButRequests().size();
  deliverInApp({campaign("9", "buy"), campaign("7", "sell", {{"count", 5}, {"startTime", ""}})});

  ASSERT_EQ(engine->inAppDataArray()->size(), 2u);
  EXPECT_EQ(engine->inAppDataArray()->at(0)->windowId(), JSONValue("9"));
  EXPECT_EQ(usedCountsOnDisk(), (std::vector<std::pair<std::int64_t, std::int64_t>>{{7, 1}, {8, 0}, {9, 0}}))
      << "refreshed, kept, appended";
  const auto node = engine->recordTree()->findTreeNodeById(7);
  EXPECT_EQ(node->count(), 5);
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

TEST_F(EngineListsTest, ResponseForADestroyedEngineIsIgnored) {
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

TEST_F(EngineTest, FirstStartIsEmptyAndLaterStartsRestoreTheLastRun) {
  EXPECT_TRUE(engine->treeNodesInit() && !engine->isNewUser() && engine->autoCollectPage());
  EXPECT_TRUE(!engine->userId() && !engine->pageName() && !engine->configuration());
  EXPECT_TRUE(engine->recordTree()->copyOfNodes().empty());
  engine->setToken("T");
  deliverInApp({campaign("7", "buy", {{"count", 2}}), campaign("8", "view")});
  deliverSubscriptions({campaign("9", "pay")});
  receive("buy");
  relaunch();
  std::vector<std::shared_ptr<OQRecordTree>> trees(8);
  std::vector<std::size_t> lengths(8);
  inThreads(8, [&](std::size_t i) {
    if (i % 2) trees[i] = engine->recordTree();
    lengths[i] = engine->inAppDataArray()->size() + engine->subscribeDataArray()->size();
    if (!trees[i]) trees[i] = engine->recordTree();
  });
  EXPECT_EQ(trees, std::vector(8, trees.front()));
  EXPECT_EQ(lengths, std::vector<std::size_t>(8, 3));
  EXPECT_TRUE(engine->isNewUser()) << "a stored user id makes it true, in spite of the name";
  EXPECT_EQ(engine->userId(), "ann");
  EXPECT_EQ(engine->inAppDataArray()->at(1)->windowId(), JSONValue("8"));
  const auto node = engine->recordTree()->findTreeNodeById(7);
  ASSERT_NE(node, nullptr);
  EXPECT_EQ(node->usedCount(), 1);
  EXPECT_FALSE(node->isActivated());
  receive("buy");
  EXPECT_EQ(engine->shownIds(), std::vector<std::string>{"7"}) << "one more display is allowed";
  EXPECT_EQ(usedCountsOnDisk().front(), std::pair(std::int64_t{7}, std::int64_t{2}));
  EXPECT_EQ(engine->diagnostics().at("windows").at(0).at("usedCount"), 2);
  receive("buy");
  EXPECT_EQ(engine->shown().size(), 1u) << "not again in the same run";
  relaunch();
  receive("buy");
  EXPECT_TRUE(engine->shown().empty());
}

TEST_F(EngineTest, DamagedFilesCountAsEmptyAndAreReplacedByTheNextWrite) {
  deliverInApp({campaign("7", "buy")});
  deliverSubscriptions({campaign("9", "pay")});
  std::vector<Data> good;
  for (const char* name : kFiles) good.push_back(contentsOfFile(documentsDirectory() / name).value());
  const Data cutOff(good[0].begin(), good[0].begin() + static_cast<std::ptrdiff_t>(good[0].size() / 2));
  // The files are truncated, then of another format, then valid but with objects of another class.
  const std::vector<std::vector<Data>> damages = {{cutOff, cutOff, cutOff},
                                                  {dataFromString("bplist00 but torn"), dataFromString("{}"), Data()},
                                                  {good[2], good[2], good[0]}};
  for (const auto& damage : damages) {
    quit();
    for (std::size_t each = 0; each < damage.size(); ++each) {
      ASSERT_TRUE(writeFileAtomically(documentsDirectory() / kFiles[each], damage[each]));
    }
    relaunch();
    EXPECT_TRUE(engine->inAppDataArray()->empty());
    EXPECT_TRUE(engine->subscribeDataArray()->empty());
    EXPECT_TRUE(engine->recordTree()->copyOfNodes().empty());
    deliverInApp({campaign("7", "buy")});
    deliverSubscriptions({campaign("9", "pay")});
    relaunch();
    EXPECT_EQ(engine->inAppDataArray()->size(), 1u);
    EXPECT_EQ(engine->subscribeDataArray()->size(), 1u);
    EXPECT_EQ(engine->recordTree()->copyOfNodes().size(), 1u);
  }
}

TEST(PublicNames, ClassNamesVersionAndBundleIdAreFixed) {
  EXPECT_STREQ(reinterpret_cast<const char*>(OQSDKVersionString), "@(#)PROGRAM:OQSDK  PROJECT:OQSDK-1\n");
  EXPECT_EQ(OQSDKVersionNumber, 1.0);
  EXPECT_EQ(OQSDKBundleId, "com.torvelin.oqsdk");
  for (const char* name : {"OQButton",          "OQButtonAttribute",     "OQFloatingBall",
                           "OQFloatingBallBtn", "OQKeychainItemWrapper", "OQLabel",
                           "OQLogger",          "OQPageCollection",      "OQPopWindow",
                           "OQRecordTree",      "OQRecordTreeNode",      "OQSDKManager",
                           "OQSwizzle",         "OQTextAttribute",       "OQTimer",
                           "OQUserDefaults",    "OQWebController",       "OQWindowData",
                           "OQWindowDataModel", "OQWindowEvent",         "OQWindowItemAttribute",
                           "TorvelinOqConfig",  "TorvelinOqManager"})
    EXPECT_TRUE(NSClassFromString(name)) << name;
}

TEST_F(EngineTest, EnvironmentIsSharedByAllConfigurationsAndRuns) {
  TorvelinOqConfig().setEnvType(2);
  EXPECT_EQ(TorvelinOqConfig::defaultConfig()->envType(), 2u);
  closeAllUserDefaults();
  EXPECT_EQ(OQSDKManager::getEnvironment(), 2u);
  const auto suite = UserDefaults::withSuiteName("group.oqsdk");
  EXPECT_EQ(suite->integerForKey("envType"), 2);
  suite->setObject(Data{1}, "bytes");
  const OQUserDefaults& defaults = OQUserDefaults::defaultsWithName("group.other");
  EXPECT_EQ(&defaults, &OQUserDefaults::groupDefaults()) << "the first name decides";
  EXPECT_TRUE(defaults.objectForKey("bytes").is_null());
  TorvelinOqConfig().setEnvType(3);
  EXPECT_EQ(OQSDKManager::getEnvironment(), 3u) << "unknown environments are kept as they are";

  OQSDKManager::sharedManager().setConfiguration(nullptr);
  OQSDKManager::setEnvironment(1);
  EXPECT_EQ(OQSDKManager::getEnvironment(), 3u) << "without a configuration nothing is stored";
  OQSDKManager::sharedManager().setConfiguration(std::make_shared<TorvelinOqConfig>());
  OQSDKManager::setEnvironment(1);
  EXPECT_EQ(OQSDKManager::getEnvironment(), 1u);
  OQSDKManager::sharedManager().setConfiguration(nullptr);
}

/// A host's analytics class.
class TorvelinSDK : public Object {
  OQ_CLASS(TorvelinSDK)
 public:
  int uploads = 0;

 private:
  void _save(const Value&, const std::string&, const UploadHandler&) { ++uploads; }
};

Class* TorvelinSDK::staticClass() {
  static Class* registered =
      registerClass("TorvelinSDK", Object::staticClass(), {method<&TorvelinSDK::_save>(saveUploadInfo)});
  return registered;
}

TEST_F(EngineTest, FacadeStartsTheSharedEngineAndHooksTheAnalyticsClassOnce) {
  auto& shared = OQSDKManager::sharedManager();
  EXPECT_EQ(&TorvelinOqManager::getObserverListener(), &shared);
  OQObserverListener& listener = TorvelinOqManager::engine();
  EXPECT_EQ(&TorvelinOqManager::getObserverListener(), &listener);
  const auto decisions = listener.recentDecisions().size();
  shared.triggerEventMatchInApp(std::make_shared<OQWindowEvent>());
  EXPECT_EQ(listener.recentDecisions().size(), decisions + 1);
  TorvelinOqConfig::defaultConfig()->setAppKey("key-1");
  TorvelinOqManager::startWithConfig(TorvelinOqConfig::defaultConfig());
  TorvelinOqManager::startWithConfig(TorvelinOqConfig::defaultConfig());
  EXPECT_EQ(shared.configuration(), TorvelinOqConfig::defaultConfig());
  settle();
  const auto logins = network->requests("/push/sdk/login");
  ASSERT_EQ(logins.size(), 2u) << "one at every start";
  EXPECT_EQ(logins[0].json.at("appKey"), JSONValue("key-1"));

  TorvelinSDK analytics;
  send(analytics, saveUploadInfo, publicView(uploadInfo("buy")), "buy", nullptr);
  send(analytics, saveUploadInfo, Value("no dictionary"), "buy", nullptr);
  EXPECT_EQ(analytics.uploads, 2);
  EXPECT_EQ(shared.userId(), "ann");
  EXPECT_EQ(shared.appid(), "shop");
  int received = 0;
  for (const auto& entry : logEntries()) received += entry.starts_with("收到event回调：\n") ? 1 : 0;
  EXPECT_EQ(received, 1);

  TorvelinOqManager::pushTrack(0, publicView({{"activityId", 5}}));
  settle();
  EXPECT_EQ(network->requests("/push/sdk/in_app/callback").size(), 1u);
  TorvelinOqManager::setAutoCollectPage(false);
  EXPECT_FALSE(shared.autoCollectPage());
  TorvelinOqManager::setAutoCollectPage(true);
}

}  // namespace
}  // namespace oq::test
