// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "Foundation/Files/FileManager.h"
#include "Foundation/Stores/UserDefaults.h"
#include "Model/OQRecordTree.h"
#include "Model/OQWindowData.h"
#include "Storage/OQDataArchiver.h"
#include "oqsdk/AnalyticsHook.h"
#include "oqsdk/OQObserverListener.h"
#include "oqsdk/TorvelinOqManager.h"
#include "support/EngineTest.h"
#include "support/Threads.h"

namespace oq::test {
namespace {

/// The first thread that needs the campaigns reads them; other threads wait for it.
TEST_F(EngineTest, FirstStartIsEmptyAndLaterStartsRestoreTheLastRun) {
  relaunch();
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
  receive("buy");
  EXPECT_EQ(engine->shown().size(), 1u) << "not again in the same run";
  relaunch();
  receive("buy");
  EXPECT_TRUE(engine->shown().empty());
}

TEST_F(EngineTest, DamagedFilesCountAsEmptyAndAreReplacedByTheNextWrite) {
  const char* names[] = {OQInAppWindowDataFileName, OQSubscribeWindowDataFileName, OQRecordTreeDataFileName};
  relaunch();
  deliverInApp({campaign("7", "buy")});
  deliverSubscriptions({campaign("9", "pay")});
  std::vector<Data> good;
  for (const char* name : names) good.push_back(contentsOfFile(documentsDirectory() / name).value());
  const Data cutOff(good[0].begin(), good[0].begin() + static_cast<std::ptrdiff_t>(good[0].size() / 2));
  // The files are cut off, of another format, and valid but with objects of another class.
  const std::vector<std::vector<Data>> damages = {{cutOff, cutOff, cutOff},
                                                  {dataFromString("bplist00 but torn"), dataFromString("{}"), Data()},
                                                  {good[2], good[2], good[0]}};
  for (const auto& damage : damages) {
    quit();
    for (std::size_t each = 0; each < damage.size(); ++each) {
      ASSERT_TRUE(writeFileAtomically(documentsDirectory() / names[each], damage[each]));
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

TEST_F(EngineTest, EnvironmentIsSharedByAllConfigurationsAndRuns) {
  EXPECT_EQ(OQSDKManager::getEnvironment(), 0u);
  EXPECT_EQ(TorvelinOqConfig::defaultConfig()->envType(), 0u);
  TorvelinOqConfig().setEnvType(2);
  EXPECT_EQ(TorvelinOqConfig::defaultConfig()->envType(), 2u);
  closeAllUserDefaults();
  EXPECT_EQ(OQSDKManager::getEnvironment(), 2u);
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

  TorvelinOqManager::setAutoCollectPage(false);
  EXPECT_FALSE(shared.autoCollectPage());
  TorvelinOqManager::setAutoCollectPage(true);
}

}  // namespace
}  // namespace oq::test
