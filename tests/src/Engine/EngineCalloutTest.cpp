// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <future>
#include <iostream>
#include <map>

#include "Foundation/Values/Format.h"
#include "Model/OQRecordTree.h"
#include "Model/OQWindowData.h"
#include "Utils/OQLogger.h"
#include "support/EngineTest.h"
#include "support/ImmediateTransport.h"

namespace oq::test {
namespace {

using Callout = std::function<void(const std::string& where)>;

class CallingEngine : public RecordingEngine {
 public:
  Callout callout;

 protected:
  void presentWindow(const std::shared_ptr<OQWindowData>& window, WindowAction action) override {
    callout("window");
    RecordingEngine::presentWindow(window, std::move(action));
  }
};

void useAllOf(OQSDKManager& engine) {
  engine.onEventDataReceived(uploadInfo("other"));
  engine.getInAppList();
  engine.syncRecordTree();
  engine.syncInAppData();
  engine.setNetwork(engine.network());
  (void)engine.recentDecisions();
  (void)engine.inAppDataArray();
  (void)engine.waitingEvents();
  (void)engine.recordTree()->allNodes();
  OQLogger::getInstance().flush();
}

/// During each callout of the engine, another thread uses the whole engine, and the callout waits for that thread. If
/// the engine held a lock, this would deadlock.
TEST_F(EngineTest, HoldsNoLockDuringCallouts) {
  const auto calling = std::make_shared<CallingEngine>();
  engine = calling;
  std::map<std::string, int> callouts;
  std::atomic<bool> isUsed{false};
  const Callout callout = [&](const std::string& where) {
    if (isUsed.exchange(true)) return;  // caused by the other thread
    if (++callouts[where] > 2) {
      isUsed = false;
      return;
    }
    auto use = std::async(std::launch::async, [&] { useAllOf(*calling); });
    if (use.wait_for(std::chrono::seconds(60)) != std::future_status::ready) {
      std::cerr << "a lock is held while calling out: " << where << std::endl;
      std::abort();
    }
    isUsed = false;
  };
  calling->callout = callout;
  setPlatformLogHandler([&](std::string_view) { callout("platform log"); });
  const std::map<std::string, std::string> answers = {
      {"/push/sdk/login", R"({"code":0,"token":"T"})"},
      {"/push/sdk/event/subscribe", textOf(listAnswer({campaign("9", "buy")}))},
      {"/push/sdk/in_app", textOf(listAnswer({campaign("1", "buy"), campaign("2", "view")}))},
      {"/push/sdk/event/trigger", R"({"code":0})"},
      {"/push/sdk/in_app/callback", R"({"code":0})"}};
  setURLTransport(std::make_shared<ImmediateTransport>([&](const std::string& path) -> std::optional<std::string> {
    callout(path);
    const auto known = answers.find(path);
    return known == answers.end() ? std::nullopt : std::optional(known->second);
  }));
  engine->onEventDataReceived(uploadInfo("buy"));  // waits for the lists
  engine->login();
  while (DispatchQueue::drainMain() > 0) {
  }
  engine->onEventDataReceived(uploadInfo("view"));
  engine->shown().at(0).action(3, nullptr);
  EXPECT_EQ(engine->shownIds(), (std::vector<std::string>{"1", "2"}));
  for (const char* where : {"/push/sdk/login", "/push/sdk/event/subscribe", "/push/sdk/in_app", "/1.png",
                            "/push/sdk/event/trigger", "/push/sdk/in_app/callback", "platform log", "window"}) {
    EXPECT_GT(callouts[where], 0) << where;
  }
  setPlatformLogHandler([](std::string_view) {});
}

}  // namespace
}  // namespace oq::test
