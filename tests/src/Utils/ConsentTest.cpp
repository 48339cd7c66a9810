// SPDX-License-Identifier: Apache-2.0
#include "Utils/OQConsent.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <future>
#include <utility>

#include "Foundation/Files/FileManager.h"
#include "Foundation/Stores/UserDefaults.h"
#include "Foundation/System/Device.h"
#include "Requests/OQNetwork.h"
#include "Requests/OQSession.h"
#include "Storage/OQImageDiskCache.h"
#include "Storage/OQUserDefaults.h"
#include "Utils/OQLogger.h"
#include "Utils/OQUtils.h"
#include "oqsdk/headless/HeadlessHost.h"
#include "support/EngineTest.h"
#include "support/FolderState.h"

namespace oq::test {
namespace {

namespace fs = std::filesystem;

class Consent : public EngineTest {
 protected:
  ~Consent() override {
    OQLogger::setHandler(nullptr);
    OQConsent::give();
    OQConsent::require(false);
    OQLogger::log("Begins a file, which the next test expects.");
  }
  /// A later run of the same application.
  void startAgain(bool requiresConsent) {
    OQConsent::require(requiresConsent);
    relaunch();
  }
  static std::int64_t codeOfFailure(const std::function<void(OQNetwork::FailureBlock)>& request) {
    std::promise<Error> failed;
    request([&](const Error& error) { failed.set_value(error); });
    const Error error = failed.get_future().get();
    EXPECT_EQ(error.domain, OQErrorDomain);
    EXPECT_NE(error.localizedDescription, "");
    return error.code;
  }
  static std::int64_t codeOfPost() {
    return codeOfFailure([](OQNetwork::FailureBlock failure) {
      const auto success = [failure](const URLResponse&, const Data&) { failure({OQErrorDomain, 0, "an answer"}); };
      OQNetwork().postRequestWithRelativeURLStr("/push/sdk/login", nullptr, JSONDictionary{}, success, failure);
    });
  }
  static std::int64_t codeOfPicture() {
    return codeOfFailure([](OQNetwork::FailureBlock failure) {
      OQNetwork().downloadImageWithURL(
          URL::withString("https://pictures.invalid/1.png"),
          [failure](const auto& image, const Data& data, const std::optional<Error>& error, bool isFinished) {
            EXPECT_TRUE(!image && data.empty() && error && isFinished);
            failure(error.value_or(Error{OQErrorDomain, 0, "a picture"}));
          });
    });
  }
  /// Does what a host, a user and a server can cause.
  void useEverything() {
    EXPECT_EQ(codeOfPost(), 1001);
    EXPECT_EQ(codeOfPicture(), 1001);
    OQSession session;
    session.takeUser("bob", "other");
    session.takeToken("new-token");
    EXPECT_NE(session.values().userId, "bob");
    EXPECT_NE(session.values().token, "new-token");
    OQUserDefaults::groupDefaults().setObject("value", "key");
    UserDefaults::standardUserDefaults()->setObject(JSONValue("value"), "key");
    OQImageDiskCache::cache().setImageData(Data{1}, "key");
    OQUtils::saveUUIDWithKeyChain();
    OQUtils::getUUID();
    OQLogger::log("entry");
    OQLogger::error("entry");
    OQLogger::getInstance().flush();
    OQLogger ownLogger(documentsDirectory() / "Log");
    ownLogger._log("entry");
    ownLogger.flush();
    engine->login();
    engine->jumpToWebViewWithURLStr("https://shop.example/");
    deliverInApp({campaign("1", "buy")});
    engine->syncRecordTree();
    engine->syncSubscribeData();
    settle();
  }
};

TEST_F(Consent, NothingIsSentWrittenOrOpenedWithoutConsent) {
  OQConsent::require();
  // A start in an empty folder.
  const ScratchFolder empty;
  closeAllUserDefaults();
  HeadlessHost host{{.dataDirectory = empty.path()}};
  int entries = 0;
  OQLogger::setHandler([&](OQLogLevel, std::string_view) { ++entries; });
  startAgain(true);
  EXPECT_TRUE(OQConsent::isMissing());
  TorvelinOqConfig().setEnvType(OQEnvironmentTest);
  useEverything();
  EXPECT_EQ(OQUserDefaults::environment(), OQEnvironmentTest);
  EXPECT_TRUE(host.pages().empty());
  EXPECT_EQ(entries, 0);
  EXPECT_TRUE(network->requests().empty());
  EXPECT_TRUE(fs::is_empty(empty.path()));

  OQConsent::give();
  engine->login();
  settle();
  EXPECT_GT(entries, 0);
  ASSERT_EQ(network->requests("/push/sdk/login").size(), 1u);
  EXPECT_THAT(network->requests()[0].url, testing::HasSubstr(":28088/")) << "the environment chosen before";
  closeAllUserDefaults();
  EXPECT_EQ(OQUserDefaults::groupDefaults().integerForKey("envType"), OQEnvironmentTest);
  engine->jumpToWebViewWithURLStr("https://shop.example/");
  EXPECT_EQ(host.pages().size(), 1u);
}

TEST_F(Consent, WithdrawalHoldsInLaterRunsAndLeavesEarlierFilesUntouched) {
  network->answer("/push/sdk/login", R"({"code":0,"token":"t-1"})");
  engine->login();
  receive("buy");
  const std::string picture = "https://pictures.invalid/1.png";
  OQNetwork().downloadImageWithURL(URL::withString(picture), nullptr);
  settle();
  ASSERT_TRUE(OQImageDiskCache::cache().containsImageDataForKey(picture));
  OQUtils::saveUUIDWithKeyChain();
  OQLogger::getInstance().flush();
  network->script("/push/sdk/login", [](const auto&) {
    OQConsent::withdraw();  // while the request is under way
    return ScriptedTransport::Answer{R"({"code":0,"token":"t-2"})"};
  });
  EXPECT_EQ(codeOfPost(), 1001) << "an answer after the withdrawal is not used";
  EXPECT_TRUE(OQConsent::isMissing());
  const FolderState state(folder());
  const std::size_t requests = network->requests().size();
  useEverything();
  startAgain(false);
  useEverything();
  EXPECT_TRUE(OQConsent::isMissing());
  EXPECT_EQ(engine->userId(), "ann") << "files of earlier runs are read";
  EXPECT_EQ(engine->token(), "t-1");
  EXPECT_EQ(network->requests().size(), requests);
  // When a process ends, the host and its data folder are removed before the last threads end. The withdrawal then also
  // holds in the folder that replaces it.
  const ScratchFolder elsewhere;
  setApplicationDataDirectory(elsewhere.path());
  useEverything();
  EXPECT_TRUE(fs::is_empty(elsewhere.path()));
  setApplicationDataDirectory(folder());
  EXPECT_THAT(state.changes(), testing::IsEmpty());

  OQConsent::give();
  startAgain(true);
  EXPECT_FALSE(OQConsent::isMissing());
  // A damaged file counts as a withdrawal, and a missing one as no decision.
  for (const char* contents : {"", "give", "given\nwithdrawn\n"}) {
    writeText(folder() / "Preferences/consent", contents);
    startAgain(false);
    EXPECT_TRUE(OQConsent::isMissing()) << contents;
  }
  fs::remove(folder() / "Preferences/consent");
  startAgain(false);
  EXPECT_FALSE(OQConsent::isMissing());
  startAgain(true);
  EXPECT_TRUE(OQConsent::isMissing());
}

TEST_F(Consent, ForgettingAfterTheWithdrawalRemovesTheIdentifierAndTheRecords) {
  deliverInApp({campaign("1", "buy")});
  OQUtils::saveUUIDWithKeyChain();
  ASSERT_EQ(OQUtils::getUUIDWithKeychain(), JSONValue(OQUtils::getUUID()));
  OQConsent::withdraw();
  engine->forget(false);
  settle();
  EXPECT_EQ(OQUtils::getUUID(), "") << "none is made without consent";
  EXPECT_FALSE(OQUtils::getUUIDWithKeychain().is_string());
  EXPECT_TRUE(usedCountsOnDisk().empty());
}

}  // namespace
}  // namespace oq::test
