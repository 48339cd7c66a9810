// SPDX-License-Identifier: Apache-2.0
#include "oqsdk/Messages.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <future>
#include <mutex>
#include <optional>
#include <thread>

#include "Engine/OQSDKManager.h"
#include "Foundation/Stores/UserDefaults.h"
#include "Foundation/Values/JSONSerialization.h"
#include "Storage/OQReportJournal.h"
#include "Storage/OQUserDefaults.h"
#include "oqsdk/TorvelinOqManager.h"
#include "oqsdk/headless/HeadlessHost.h"
#include "support/EngineTest.h"
#include "support/ScratchFolder.h"

namespace oq {
namespace {

using test::campaign;

constexpr double kOpening = 0.3, kClosing = 0.2;  // seconds; longer than the animations

/// A program that uses the class Messages, with a headless host and a scripted server.
class MessagesTest : public test::WorldTest {
 protected:
  MessagesTest() {
    network->answer("/push/sdk/login", R"({"code":0,"token":"token-1"})");
    const auto heard = [this](const std::string& what) {
      return [this, what](const Message& message) { calls.push_back(what + " " + message.campaignId); };
    };
    handlers.shown = heard("shown");
    handlers.shownWithoutPicture = heard("without picture");
    handlers.closed = heard("closed");
    handlers.removed = heard("removed");
    handlers.clicked = [this](const Message& message, MessageAction part) {
      calls.push_back("clicked " + message.campaignId + " " + std::to_string(static_cast<int>(part)));
    };
    handlers.link = [this](const Message&, const std::string& url) {
      calls.push_back("link " + url);
      return true;
    };
    Messages::setHandlers(handlers);
  }
  ~MessagesTest() override {
    Messages::setHandlers({});
    Messages::resume();
    Messages::setOneAtATime(false);
    settle();
  }

  void offer(const JSONArray& records) { network->answer("/push/sdk/in_app", test::textOf(test::listAnswer(records))); }
  void start(const JSONArray& records) {
    offer(records);
    ASSERT_TRUE(Messages::setUser("user-1"));
    ASSERT_TRUE(Messages::start({"my-application", "https://messages.example"}));
    settle();
  }
  void settle() {
    ASSERT_TRUE(network->settle());
    host.runMainQueue();
    ASSERT_TRUE(network->settle());
    host.runMainQueue();
  }
  void show(double seconds = kOpening) {
    host.advance(seconds);
    settle();
  }
  bool tap(const std::string& name) {
    for (const auto& element : host.accessibleElements()) {
      if (element.name != name || element.role == "dialog") continue;
      const bool isTaken = host.tap(element.x, element.y);
      show(kClosing);
      return isTaken;
    }
    return false;
  }
  bool isOnScreen() { return !host.accessibleElements().empty(); }
  /// The names of the reported events, for example "$impDialog".
  std::vector<std::string> reports() const {
    std::vector<std::string> names;
    for (const auto& request : network->requests("/push/sdk/in_app/callback"))
      names.emplace_back(request.json.at("events").at(0).at("xwhat").as_string());
    return names;
  }
  /// The outcome of the newest decision in the decision log; "" if there is none.
  static std::string outcome() {
    const Value decisions = TorvelinOqManager::engine().recentDecisions();
    return decisions.empty() ? "" : std::string(decisions.at(decisions.size() - 1).at("outcome").toString());
  }
  static std::int64_t usedCount(const std::string& id) {
    const Value windows = TorvelinOqManager::engine().diagnostics().at("windows");
    for (const Value& window : windows) {
      if (window.at("windowId").toString() == id) return window.at("usedCount").toInteger();
    }
    return -1;
  }

  HeadlessHost host{{.dataDirectory = folder()}};
  MessageHandlers handlers;
  std::vector<std::string> calls;
};

JSONValue buttonsCampaign(const std::string& id, const std::string& event, int count = 1) {
  return campaign(id, event,
                  {{"style", 3},
                   {"count", count},
                   {"title", {{"text", "Title " + id}}},
                   {"buttonLeft", {{"text", "No"}, {"clickEvent", ""}}},
                   {"buttonRight", {{"text", "Yes"}, {"clickEvent", "https://shop.example/yes"}}}});
}

using Calls = std::vector<std::string>;

TEST_F(MessagesTest, HandlersReportWhatTheUserDoes) {
  const JSONValue picture = campaign("2", "look", {{"style", 1}, {"picture", "https://pictures.example/gone.png"}});
  start({buttonsCampaign("1", "buy"), picture});
  network->fail("/gone.png", Error{"test", 1, "no such picture"});

  EXPECT_EQ(network->requests("/push/sdk/in_app").at(0).json.at("newUser"), 1) << "no user was stored at the start";

  ASSERT_TRUE(Messages::record("buy", Dictionary{{"price", 12}}));
  show();
  EXPECT_TRUE(tap("Yes"));
  EXPECT_EQ(calls, (Calls{"shown 1", "clicked 1 5", "link https://shop.example/yes"}));
  EXPECT_TRUE(host.pages().empty()) << "the host has handled the link";
  EXPECT_EQ(reports(), (Calls{"$impDialog", "$clickDialog"}));
  EXPECT_EQ(network->requests("/push/sdk/in_app/callback").back().json.at("events").at(0).at("appid"),
            "my-application");

  calls.clear();
  ASSERT_TRUE(Messages::record("look"));
  show();
  EXPECT_TRUE(tap("关闭"));
  EXPECT_EQ(calls, (Calls{"shown 2", "without picture 2", "closed 2"}));
  EXPECT_EQ(reports(), (Calls{"$impDialog", "$clickDialog", "$impDialog", "$closeDialog"}));
}

TEST_F(MessagesTest, RefusedMessagesAreNotCountedAndMayBeShownLater) {
  start({campaign("1", "buy", {{"style", 4}}), buttonsCampaign("2", "leave"), buttonsCampaign("3", "other")});
  host.refusePages("no web engine");
  Messages::record("buy");
  EXPECT_EQ(outcome(), "cannot be shown by this host");

  Messages::hold();
  Messages::record("leave");
  EXPECT_EQ(outcome(), "held by the host");
  Messages::resume();

  std::thread::id asked;
  handlers.mayShow = [&](const Message& message) {
    asked = std::this_thread::get_id();
    // The library holds no lock during this callback, so the host may call any of its functions.
    EXPECT_EQ(usedCount(message.campaignId), 0);
    Messages::record("unrelated");
    return false;
  };
  Messages::setHandlers(handlers);
  std::thread recorder([] { Messages::record("leave"); });
  const std::thread::id recorderId = recorder.get_id();
  recorder.join();
  EXPECT_EQ(asked, recorderId);
  EXPECT_EQ(outcome(), "refused by the host");
  settle();
  show();
  EXPECT_FALSE(isOnScreen());
  EXPECT_EQ(usedCount("1") + usedCount("2"), 0);

  handlers.mayShow = nullptr;
  Messages::setHandlers(handlers);
  Messages::setOneAtATime(true);
  Messages::record("leave");
  EXPECT_EQ(outcome(), "counted and handed to the screen");
  Messages::record("other");
  EXPECT_EQ(outcome(), "another message is shown") << "although it is not on screen yet";
  show();
  EXPECT_TRUE(tap("No"));
  Messages::record("other");
  EXPECT_EQ(outcome(), "counted and handed to the screen");
  show();
  EXPECT_EQ(calls, (Calls{"shown 2", "clicked 2 4", "shown 3"}));
}

TEST_F(MessagesTest, RulesAreCheckedAgainAfterTheHostHasAgreed) {
  start({buttonsCampaign("1", "buy", 3), buttonsCampaign("2", "leave")});
  bool isNested = false;
  handlers.mayShow = [&](const Message&) {
    // Meanwhile another event shows the same campaign.
    if (!std::exchange(isNested, true)) Messages::record("buy");
    return true;
  };
  Messages::setHandlers(handlers);
  Messages::record("buy");
  EXPECT_EQ(outcome(), "already shown in this run");
  show();
  EXPECT_EQ(calls, (Calls{"shown 1"}));
  EXPECT_EQ(usedCount("1"), 1);
  handlers.mayShow = [&](const Message&) {
    setNow("2026-04-01 00:00:00");
    return true;
  };
  Messages::setHandlers(handlers);
  Messages::record("leave");
  EXPECT_EQ(outcome(), "after end");
}

/// How far a message has come when the host does something.
enum class Moment { Counted, WaitingForTheScreen, LoadingItsPicture, Opening, Shown };

class MessageMomentsTest : public MessagesTest, public ::testing::WithParamInterface<Moment> {
 protected:
  MessageMomentsTest() {
    network = std::make_shared<test::ScriptedTransport>(DispatchQueue::concurrent("test.network"));
    network->answer("/push/sdk/login", R"({"code":0,"token":"token-1"})");
    setURLTransport(network);
    const auto shop = campaign("1", "buy",
                               {{"style", 2},
                                {"count", 3},
                                {"picture", "https://pictures.example/slow.png"},
                                {"title", {{"text", "Title"}}},
                                {"buttonMiddle", {{"text", "Go"}}}});
    network->script("/slow.png", [this](const auto&) {
      std::unique_lock lock(_mutex);
      _changed.wait(lock, [&] { return _isPictureReady; });
      return test::ScriptedTransport::Answer{"", 0, Error{"test", 1, "too late"}};
    });
    network->answer("/push/sdk/in_app", test::textOf(test::listAnswer({shop})));
    if (GetParam() != Moment::LoadingItsPicture) releasePicture();
    EXPECT_TRUE(Messages::setUser("user-1"));
    EXPECT_TRUE(Messages::start({"my-application", "https://messages.example"}));
    EXPECT_TRUE(host.runUntil([] { return usedCount("1") == 0; }, 30));
  }
  ~MessageMomentsTest() override { releasePicture(); }

  void releasePicture() {
    std::lock_guard lock(_mutex);
    _isPictureReady = true;
    _changed.notify_all();
  }
  void recordAndReach() {
    if (GetParam() == Moment::WaitingForTheScreen) host.setActive(false);
    std::thread([] { Messages::record("buy"); }).join();
    if (GetParam() == Moment::Counted) return;
    host.runMainQueue();
    if (GetParam() == Moment::Opening) host.advance(0.1);
    if (GetParam() == Moment::Shown) host.advance(kOpening);
  }
  bool wasShownBefore() const { return GetParam() == Moment::Shown; }
  void finish() {
    host.setActive(true);
    host.runMainQueue();
    host.advance(kOpening);
    releasePicture();
    settle();
  }

 private:
  std::mutex _mutex;
  std::condition_variable _changed;
  bool _isPictureReady = false;
};

std::string nameOf(Moment moment) {
  constexpr const char* names[] = {"Counted", "WaitingForTheScreen", "LoadingItsPicture", "Opening", "Shown"};
  return names[static_cast<int>(moment)];
}

INSTANTIATE_TEST_SUITE_P(, MessageMomentsTest,
                         ::testing::Values(Moment::Counted, Moment::WaitingForTheScreen, Moment::LoadingItsPicture,
                                           Moment::Opening, Moment::Shown),
                         [](const auto& moment) { return nameOf(moment.param); });

Calls callsOf(const Calls& calls, const std::string& what) {
  Calls found;
  std::copy_if(calls.begin(), calls.end(), std::back_inserter(found),
               [&](const std::string& call) { return call.starts_with(what + " "); });
  return found;
}

TEST_P(MessageMomentsTest, HeldMessageAppearsOnceAfterResume) {
  recordAndReach();
  Messages::hold();
  finish();
  const bool wasOnScreen = GetParam() >= Moment::LoadingItsPicture;
  EXPECT_EQ(callsOf(calls, "shown").size(), wasOnScreen ? 1u : 0u);
  Messages::resume();
  finish();
  EXPECT_EQ(callsOf(calls, "shown"), (Calls{"shown 1"}));
  EXPECT_EQ(reports(), (Calls{"$impDialog"}));
  EXPECT_EQ(usedCount("1"), 1);
}

TEST_P(MessageMomentsTest, DismissedMessageIsRemovedAndNoCloseIsReported) {
  recordAndReach();
  Messages::dismiss();
  finish();
  // dismiss() closes only the message on screen. A message that is not on screen yet still appears.
  const bool wasOnScreen = GetParam() >= Moment::LoadingItsPicture;
  EXPECT_EQ(isOnScreen(), !wasOnScreen);
  EXPECT_EQ(callsOf(calls, "removed").size(), wasOnScreen ? 1u : 0u);
  const bool wasShown = wasShownBefore() || !wasOnScreen;
  EXPECT_EQ(callsOf(calls, "shown").size(), wasShown ? 1u : 0u);
  EXPECT_EQ(reports().size(), wasShown ? 1u : 0u);
}

TEST_P(MessageMomentsTest, MessageIsNeverShownToAnotherUser) {
  network->answer("/push/sdk/in_app", test::textOf(test::listAnswer({})));
  recordAndReach();
  ASSERT_TRUE(Messages::setUser("user-2"));
  finish();
  EXPECT_FALSE(isOnScreen());
  EXPECT_EQ(callsOf(calls, "shown").size(), wasShownBefore() ? 1u : 0u);
  EXPECT_EQ(reports().size(), wasShownBefore() ? 1u : 0u) << "removing it is not reported";
  Messages::record("buy");
  EXPECT_EQ(outcome(), "waiting") << "the former user's list is not matched";
}

TEST_P(MessageMomentsTest, WithdrawnConsentRemovesTheMessageWithoutAReport) {
  recordAndReach();
  Messages::withdrawConsent();
  finish();
  EXPECT_FALSE(isOnScreen());
  EXPECT_EQ(reports().size(), wasShownBefore() ? 1u : 0u);
  const std::size_t sent = network->requests().size();
  Messages::record("buy");
  Messages::refresh();
  settle();
  EXPECT_EQ(network->requests().size(), sent);
  Messages::giveConsent();
  settle();
  EXPECT_GT(network->requests().size(), sent) << "the login follows the consent";
}

TEST_F(MessagesTest, AnotherUserGetsBothListsOnTheSameDayAndNoAnswerOfTheFormerUser) {
  std::promise<void> mayAnswer;
  auto allowed = mayAnswer.get_future().share();
  network->script("/push/sdk/in_app", [allowed](const auto& request) {
    const std::string user(request.json.at("userId").as_string());
    if (user == "user-1") allowed.wait();
    return test::ScriptedTransport::Answer{
        test::textOf(test::listAnswer({buttonsCampaign(user == "user-1" ? "1" : "2", "buy")}))};
  });
  ASSERT_TRUE(Messages::setUser("user-1"));
  ASSERT_TRUE(Messages::start({"my-application", ""}));
  ASSERT_TRUE(host.runUntil([this] { return !network->requests("/push/sdk/in_app").empty(); }, 30));
  Messages::record("buy");
  ASSERT_TRUE(Messages::setUser("user-2"));
  mayAnswer.set_value();
  settle();
  show();
  EXPECT_EQ(usedCount("1"), -1) << "the former user's list is not installed";
  EXPECT_FALSE(isOnScreen()) << "the former user's event was dropped";
  EXPECT_EQ(usedCount("2"), 0);
  EXPECT_EQ(network->requests("/push/sdk/event/subscribe").size(), 2u);
  Messages::record("buy");
  show();
  EXPECT_EQ(calls, (Calls{"shown 2"}));
}

TEST_F(MessagesTest, EventOfTheFormerUserDoesNotWaitForTheListOfTheNextUser) {
  start({buttonsCampaign("1", "buy")});
  network->answer("/push/sdk/in_app", test::textOf(test::listAnswer({})));
  // The library writes this entry after it has received the event and before it matches it: the user changes in
  // between.
  Messages::setLogHandler([](Messages::LogLevel, std::string_view entry) {
    if (entry.starts_with("收到event回调")) Messages::setUser("user-2");
  });
  Messages::record("buy");
  Messages::setLogHandler(nullptr);
  EXPECT_EQ(outcome(), "the user has changed");
  settle();
  offer({buttonsCampaign("2", "buy")});
  Messages::refresh();
  settle();
  show();
  EXPECT_EQ(usedCount("2"), 0);
  EXPECT_FALSE(isOnScreen());
}

TEST_F(MessagesTest, UserSetAfterAnotherProcessForgotTheFormerUserIsKept) {
  start({buttonsCampaign("1", "buy")});
  auto other = std::make_shared<test::RecordingEngine>();  // stands for another process of the application
  ASSERT_EQ(other->inAppDataArray()->size(), 1u);
  other->forget(true);
  offer({buttonsCampaign("2", "buy")});
  ASSERT_TRUE(Messages::setUser("user-2"));
  ASSERT_TRUE(Messages::start({"my-application", "https://messages.example"}));
  settle();
  Messages::record("buy");
  show();
  EXPECT_EQ(calls, (Calls{"shown 2"}));
  EXPECT_EQ(network->requests("/push/sdk/in_app/callback").back().json.at("userId"), "user-2");
}

TEST_F(MessagesTest, WithdrawalBeforeTheStartDropsReportsOfEarlierRuns) {
  ASSERT_TRUE(OQReportJournal().add({"id", {{"kind", 1}}}).isStored);
  Messages::withdrawConsent();
  Messages::giveConsent();
  EXPECT_TRUE(OQReportJournal().adopt().entries.empty());
}

TEST_F(MessagesTest, HostCanDrawMessagesItselfAndReportWhatHappens) {
  start({buttonsCampaign("1", "buy"), buttonsCampaign("2", "leave"), buttonsCampaign("3", "other")});
  std::optional<MessageReporter> reporter;
  Value content;
  handlers.present = [&](const Message& message, const Value& given, MessageReporter given_reporter) {
    content = given;
    if (message.campaignId == "3") return false;
    reporter = given_reporter;
    return true;
  };
  Messages::setHandlers(handlers);
  Messages::record("buy");
  settle();
  EXPECT_FALSE(isOnScreen());
  EXPECT_EQ(content.at("title").at("text").toString(), "Title 1");
  EXPECT_EQ(content.at("buttonRight").at("clickEvent").toString(), "https://shop.example/yes");
  EXPECT_TRUE(content.at("buttonMiddle").isNull());
  EXPECT_FALSE(reporter->report(MessageAction::RightButton)) << "not shown yet";
  EXPECT_TRUE(reporter->report(MessageAction::Shown));
  EXPECT_FALSE(reporter->report(MessageAction::Shown));
  EXPECT_TRUE(reporter->report(MessageAction::RightButton));
  EXPECT_FALSE(reporter->report(MessageAction::Closed)) << "it has ended";
  settle();
  EXPECT_EQ(calls, (Calls{"shown 1", "clicked 1 5", "link https://shop.example/yes"}));
  EXPECT_EQ(reports(), (Calls{"$impDialog", "$clickDialog"}));

  Messages::record("leave");
  settle();
  reporter->report(MessageAction::Shown);
  Messages::dismiss();
  settle();
  EXPECT_EQ(calls.back(), "removed 2");
  EXPECT_FALSE(reporter->report(MessageAction::Closed));

  Messages::record("other");
  show();
  EXPECT_TRUE(isOnScreen()) << "the host left this one to the library";
}

TEST_F(MessagesTest, ForgottenUserLeavesNothingBehind) {
  start({buttonsCampaign("campaign-of-user-1", "buy")});
  auto other = std::make_shared<test::RecordingEngine>();  // stands for another process of the application
  ASSERT_EQ(other->inAppDataArray()->size(), 1u);
  OQUserDefaults::setEnvironment(2);
  Messages::record("buy");
  show();
  std::filesystem::create_directories(folder() / "Web");
  test::writeText(folder() / "Web/cookies.sqlite", "of a page that user-1 has opened");
  Messages::withdrawConsent();
  Messages::forget();
  settle();
  EXPECT_FALSE(isOnScreen());
  EXPECT_FALSE(Messages::hasConsent()) << "the withdrawal is kept";
  closeAllUserDefaults();
  for (const auto& file : std::filesystem::recursive_directory_iterator(folder())) {
    if (!file.is_regular_file()) continue;
    const std::string text = test::textOfFile(file.path());
    for (const char* trace : {"user-1", "token-1", "campaign-of-user-1"})
      EXPECT_EQ(text.find(trace), std::string::npos) << trace << " is still in " << file.path();
  }
  EXPECT_EQ(OQUserDefaults::environment(), 2u);

  Messages::giveConsent();
  other->onEventDataReceived(test::uploadInfo("buy"));
  settle();
  EXPECT_TRUE(other->shownIds().empty());
  EXPECT_TRUE(other->inAppDataArray()->empty());
  EXPECT_EQ(other->userId(), std::nullopt);
}

TEST_F(MessagesTest, BadInputGetsAnErrorAndChangesNothing) {
  const auto errorOf = [](const Status& status) { return status.error; };
  EXPECT_EQ(errorOf(Messages::start({})), "The application key is empty.");
  EXPECT_NE(errorOf(Messages::start({"app", "http://messages.example"})), "");
  EXPECT_EQ(errorOf(Messages::setUser("")), "The user id is empty.");
  EXPECT_EQ(errorOf(Messages::record("")), "The event's name is empty.");
  EXPECT_EQ(errorOf(Messages::record("buy", Array{1})), "The event's properties are not a dictionary.");
  EXPECT_EQ(errorOf(Messages::record("buy")), "The library is not started.");
  EXPECT_NE(errorOf(Messages::setServer(OQEnvironmentProduction, "https://user@messages.example")), "");
  TorvelinOqConfig::defaultConfig()->setEnvType(3);
  EXPECT_EQ(errorOf(Messages::start({"app", "https://messages.example", false, true})), "There is no environment 3.");
  EXPECT_TRUE(Messages::hasConsent()) << "it is not required yet";
  settle();
  EXPECT_TRUE(network->requests().empty());
  EXPECT_EQ(outcome(), "");
}

}  // namespace
}  // namespace oq
