// SPDX-License-Identifier: Apache-2.0
#include "Requests/OQReports.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <future>
#include <limits>
#include <map>
#include <mutex>
#include <random>
#include <set>
#include <thread>

#include "Foundation/Files/FileManager.h"
#include "Foundation/Networking/CurlTransport.h"
#include "Foundation/Values/Format.h"
#include "Foundation/Values/JSONSerialization.h"
#include "Foundation/Values/Number.h"
#include "Requests/OQServerAddress.h"
#include "Storage/OQReportJournal.h"
#include "Storage/OQUserDefaults.h"
#include "support/EngineTest.h"
#include "support/LoopbackServer.h"
#include "support/Threads.h"

namespace oq::test {
namespace {

using Kind = OQReports::Kind;

constexpr const char* callbackPath = "/push/sdk/in_app/callback";
constexpr double aMinute = 60;

class OQReportsTest : public WorldTest {
 protected:
  OQReportsTest() {
    network = std::make_shared<ScriptedTransport>(DispatchQueue::concurrent("test.network"));
    setURLTransport(network);
  }
  ~OQReportsTest() override { OQServerAddress::set(OQEnvironmentProduction, ""); }

  void send(int count) {
    for (int i = 0; i < count; ++i) {
      OQWindowEvent event;
      event.setXwhat(JSONValue(std::to_string(++sent)));
      reports->send(session, Kind::WindowEvent, event);
    }
  }

  void takeOffer() {
    session.offer = OQExtensions{false, true, OQEnvironmentProduction};
    reports->takeOffer(session);
  }

  OQSession::Values session;
  int sent = 0;
  std::shared_ptr<OQReports> reports = std::make_shared<OQReports>();
};

/// The test's thread is the main thread and runs no loop meanwhile, like a host that is about to exit.
TEST_F(OQReportsTest, FlushWaitsForAnswersAndReturnsHowManyReportsDidNotSucceed) {
  std::promise<void> release;
  const auto released = release.get_future().share();
  std::atomic<int> answers{0};
  network->script(callbackPath, [&](const auto&) {
    released.wait();
    ScriptedTransport::Answer answer;
    const int number = ++answers;
    if (number == 1) answer.error = Error{URLErrorDomain, URLErrorTimedOut, "timed out"};
    if (number == 2) answer.body = R"({"code":7})";
    return answer;
  });
  send(3);
  EXPECT_EQ(reports->flush(0), 3u);
  EXPECT_EQ(reports->flush(std::numeric_limits<double>::quiet_NaN()), 3u);
  EXPECT_EQ(reports->flush(-1), 3u);
  EXPECT_EQ(reports->flush(0.01), 3u);
  auto flushed = std::async([&] { return reports->flush(std::numeric_limits<double>::infinity()); });
  release.set_value();
  EXPECT_EQ(flushed.get(), 2u);
  network->answer(callbackPath, R"({"code":0})");
  send(2);
  EXPECT_EQ(reports->flush(aMinute), 0u);
  network->answer(callbackPath, "", 503);
  send(4);
  ASSERT_TRUE(network->settle());
  EXPECT_EQ(reports->flush(aMinute), 4u) << "failed before";
  EXPECT_EQ(reports->flush(aMinute), 0u);
}

/// The server offers the extension "reports", so reports are kept in a journal until the server acknowledges them.
class KeptReportsTest : public OQReportsTest {
 protected:
  using Pauses = OQReports::Pauses;
  using Request = ScriptedTransport::Request;
  using Answer = ScriptedTransport::Answer;

  KeptReportsTest() {
    session.userId = "ann";
    takeOffer();
    launch();
  }

  /// Like the next start of a process, after its login. The default pauses are so long that only flush() sends failed
  /// reports again.
  void launch(const Pauses& pauses = {std::chrono::hours(1000), std::chrono::hours(1000)}) {
    ASSERT_TRUE(network->settle());
    reports = std::make_shared<OQReports>(pauses);
    reports->takeOffer(session);
  }
  void launchWithShortPauses() { launch({std::chrono::milliseconds(1), std::chrono::milliseconds(2)}); }
  void serverIsAway() { network->fail(callbackPath, Error{URLErrorDomain, URLErrorCannotConnectToHost, "refused"}); }
  void serverIsBack() { network->answer(callbackPath, R"({"code":0})"); }

  std::vector<Request> requests() const { return network->requests(callbackPath); }
  static std::vector<std::string> idsIn(const Request& request) {
    std::vector<std::string> ids;
    for (const JSONValue& event : request.json.at("events").as_array())
      ids.emplace_back(valueForKey(event, "id").get_string());
    return ids;
  }
  static std::filesystem::path journals() { return documentsDirectory() / OQReportsFolderName; }
};

TEST_F(KeptReportsTest, AreSentWithTheSameIdUntilTheServerAcknowledgesThem) {
  std::vector<Answer> answers = {{"", 0, Error{URLErrorDomain, URLErrorTimedOut, "timed out"}},
                                 {"", 500},
                                 {"", 429},
                                 {"", 408},
                                 {"", 301},
                                 {"<html>", 200},
                                 {"[0]", 200}};
  const auto failures = answers.size();
  std::promise<void> release;
  network->script(callbackPath, [&, released = release.get_future().share()](const auto&) {
    released.wait();
    if (answers.empty()) return Answer();
    const Answer answer = answers.back();
    answers.pop_back();
    return answer;
  });
  launchWithShortPauses();
  session.token = "old";
  send(1);
  session.token = "new";
  session.userId = "bob";
  send(1);
  release.set_value();
  EXPECT_EQ(reports->flush(aMinute), 0u);
  const auto all = requests();
  ASSERT_EQ(all.size(), failures + 2);
  for (std::size_t i = 0; i < all.size(); ++i) {
    const bool isLast = i == all.size() - 1;
    EXPECT_EQ(all[i].json.at("userId"), isLast ? "bob" : "ann") << "the user to whom it happened";
    EXPECT_EQ(all[i].json.at("token"), i > 0 ? "new" : "old");
    ASSERT_EQ(idsIn(all[i]).size(), 1u);
    EXPECT_EQ(idsIn(all[i]) == idsIn(all[0]), !isLast);
  }
  EXPECT_TRUE(enumerateDirectory(journals()).empty());
}

TEST_F(KeptReportsTest, WaitingReportsShareRequests) {
  std::promise<void> release;
  network->script(callbackPath, [released = release.get_future().share()](const auto&) {
    released.wait();
    return Answer();
  });
  send(251);
  release.set_value();
  EXPECT_EQ(reports->flush(aMinute), 0u);
  std::vector<std::size_t> sizes;
  std::vector<std::string> names;
  for (const Request& request : requests()) {
    sizes.push_back(idsIn(request).size());
    for (const auto& event : request.json.at("events").as_array()) names.push_back(descriptionOf(event.at("xwhat")));
  }
  EXPECT_EQ(sizes, (std::vector<std::size_t>{1, 100, 100, 50}));
  for (int i = 0; i < 251; ++i) EXPECT_EQ(names.at(static_cast<std::size_t>(i)), std::to_string(i + 1));
  // The size of a request is limited, too, so that five large reports need several requests.
  session.userId = "bob";
  OQWindowEvent large;
  large.setXwhat(JSONValue(std::string(60'000, 'x')));
  serverIsAway();
  for (int i = 0; i < 5; ++i) reports->send(session, Kind::WindowEvent, large);
  serverIsBack();
  EXPECT_EQ(reports->flush(aMinute), 0u);
  for (const Request& request : requests()) EXPECT_LT(request.body.size(), 200'000u);
}

TEST_F(KeptReportsTest, OneRefusedReportDoesNotMakeOthersFail) {
  serverIsAway();
  send(3);
  ASSERT_TRUE(network->settle());
  network->answer(callbackPath, "", 400);
  reports->flush(0);
  ASSERT_TRUE(network->settle());
  EXPECT_EQ(reports->pending(), 3u) << "a server that refuses everything is not flooded";
  reports->removeAll();
  launchWithShortPauses();
  for (const Answer& refusal : {Answer{R"({"code":7})"}, Answer{"", 413}}) {
    serverIsAway();
    send(5);
    const std::string poison = std::to_string(sent - 2);
    network->script(callbackPath, [&](const Request& request) {
      for (const auto& event : request.json.at("events").as_array()) {
        if (event.at("xwhat") == JSONValue(poison)) return refusal;
      }
      return Answer();
    });
    EXPECT_EQ(reports->flush(aMinute), 1u);
    EXPECT_EQ(reports->pending(), 0u);
  }
}

/// At random, the server fails before or after it stores the reports of a request. Several threads send reports, and
/// the library is restarted twice.
TEST_F(KeptReportsTest, EachIsStoredOnceByAServerThatFailsAtRandom) {
  constexpr int threads = 4, each = 100;
  std::mutex mutex;
  std::mt19937 random(1);
  std::map<std::string, std::string> stored;  // names by id
  const auto serve = [&](const Request& request) {
    std::lock_guard lock(mutex);
    const Answer failures[] = {{"", 503}, {"", 0, Error{URLErrorDomain, URLErrorNetworkConnectionLost, "lost"}}};
    if (random() % 4 == 0) return failures[random() % 2];
    for (const auto& event : request.json.at("events").as_array())
      stored.emplace(descriptionOf(event.at("id")), descriptionOf(event.at("xwhat")));
    return random() % 2 == 0 ? Answer() : failures[random() % 2];
  };
  network->script(callbackPath, serve);
  network->script("/push/sdk/event/trigger", serve);
  for (int life = 0; life < 3; ++life) {
    launchWithShortPauses();
    inThreads(threads, [&](int thread) {
      for (int i = 0; i < each; ++i) {
        OQWindowEvent event;
        event.setXwhat(JSONValue(std::to_string(life) + "/" + std::to_string(thread) + "/" + std::to_string(i)));
        reports->send(session, i % 2 == 0 ? Kind::WindowEvent : Kind::SubscribedEvent, event);
        if (i % 10 == 0) reports->flush(0);
      }
    });
  }
  // The former OQReports keeps its journal locked until its last attempt has ended. The next start cannot adopt this
  // journal before, so one start may not be enough.
  do {
    launchWithShortPauses();
    EXPECT_EQ(reports->flush(aMinute), 0u);
  } while (!enumerateDirectory(journals()).empty());
  std::set<std::string> names;
  for (const auto& [id, name] : stored) EXPECT_TRUE(names.insert(name).second) << name;
  EXPECT_EQ(names.size(), 3u * threads * each);
}

TEST_F(KeptReportsTest, WaitUntilTheSameServerOffersTheExtensionInALaterRun) {
  serverIsAway();
  send(3);
  ASSERT_TRUE(network->settle());
  launch();
  const auto ids = idsIn(requests().back());
  serverIsBack();
  // The next run has no offer. Its own reports are sent once, without an id, and are not kept in a journal.
  session.offer.reset();
  launch();
  const std::size_t before = requests().size();
  const auto files = enumerateDirectory(journals());
  send(1);
  EXPECT_EQ(reports->flush(aMinute), 0u);
  ASSERT_EQ(requests().size(), before + 1);
  EXPECT_FALSE(requests().back().json.at("events").at(0).as_object().contains("id"));
  EXPECT_EQ(enumerateDirectory(journals()), files);
  // The kept reports are sent neither after an offer of another environment's server, nor after one of the right server
  // without this extension.
  OQUserDefaults::setEnvironment(OQEnvironmentTest);
  session.offer = OQExtensions{false, true, OQEnvironmentTest};
  launch();
  EXPECT_EQ(reports->flush(aMinute), 3u);
  OQUserDefaults::setEnvironment(OQEnvironmentProduction);
  EXPECT_EQ(reports->flush(aMinute), 3u);
  session.offer = OQExtensions{true, false, OQEnvironmentProduction};
  launch();
  EXPECT_EQ(requests().size(), before + 1);
  session.offer = OQExtensions{false, true, OQEnvironmentProduction};
  launch();
  EXPECT_EQ(reports->flush(aMinute), 0u);
  ASSERT_EQ(requests().size(), before + 2);
  EXPECT_EQ(idsIn(requests().back()), ids);
}

TEST_F(KeptReportsTest, NoAttemptIsMadeEarlierThanTheServerAsks) {
  const auto serverAsksToWait = [&] {
    network->script(callbackPath, [](const auto&) {
      return Answer{"", 503, std::nullopt, std::numeric_limits<std::int64_t>::max()};
    });
  };
  serverAsksToWait();
  send(1);
  ASSERT_TRUE(network->settle());
  serverIsBack();
  EXPECT_EQ(reports->flush(aMinute), 1u) << "returns at once";
  launch();
  send(1);
  EXPECT_EQ(reports->flush(aMinute), 2u) << "also after a restart";
  EXPECT_EQ(requests().size(), 1u);
  moveClock(3599);
  launch();
  EXPECT_EQ(reports->flush(0), 2u);
  moveClock(3601);
  launch();
  EXPECT_EQ(reports->flush(aMinute), 0u) << "at most an hour";

  serverAsksToWait();
  send(1);
  ASSERT_TRUE(network->settle());
  serverIsBack();
  moveClock(-86400);
  launch();
  EXPECT_EQ(reports->flush(aMinute), 0u) << "a clock that was wrong does not stop reports";
}

TEST_F(KeptReportsTest, RemovedReportsAreNeverSent) {
  serverIsAway();
  send(3);
  const auto other = std::make_shared<OQReports>();
  other->takeOffer(session);
  ASSERT_TRUE(network->settle());
  std::promise<void> release;
  network->script(callbackPath, [released = release.get_future().share()](const auto&) {
    released.wait();
    return Answer{"", 500};
  });
  other->send(session, Kind::WindowEvent, OQWindowEvent());
  other->removeAll();
  EXPECT_EQ(other->pending(), 0u);
  EXPECT_TRUE(enumerateDirectory(journals()).empty());
  const std::size_t before = requests().size();
  release.set_value();
  ASSERT_TRUE(network->settle());
  serverIsBack();
  other->send(session, Kind::WindowEvent, OQWindowEvent());
  ASSERT_TRUE(network->settle());
  EXPECT_EQ(requests().size(), before + 1) << "the failure of the removed report causes no pause";
  EXPECT_EQ(other->flush(aMinute), 0u);
  EXPECT_EQ(reports->flush(aMinute), 0u) << "the other process drops its reports, too";
  EXPECT_EQ(requests().size(), before + 1);
  send(1);
  EXPECT_EQ(reports->flush(aMinute), 0u);
  EXPECT_EQ(requests().size(), before + 2);
}

/// OQSDK_REPORT_DELAY sets the milliseconds after which the server answers.
TEST_F(OQReportsTest, FlushWaitsUntilAllReportsReachASlowServer) {
  const char* asked = std::getenv("OQSDK_REPORT_DELAY");
  const auto delay = std::chrono::milliseconds(asked ? std::stoi(asked) : 5);
  LoopbackServer server;
  server.handle(callbackPath, [&](const auto&) {
    std::this_thread::sleep_for(delay);
    return LoopbackServer::Response{200, R"({"code":0})"};
  });
  setURLTransport(CurlTransport::shared());
  ASSERT_EQ(OQServerAddress::set(OQEnvironmentProduction, server.url()), std::nullopt);
  for (const bool isOffered : {false, true}) {
    if (isOffered) takeOffer();
    const auto begin = std::chrono::steady_clock::now();
    send(20);
    EXPECT_EQ(reports->flush(aMinute), 0u);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
    std::printf("[ reports  ] 20 reports %s the offer, each request delayed by %d ms: %.2f s\n",
                isOffered ? "with" : "without", static_cast<int>(delay.count()), taken.count());
  }
  std::size_t arrived = 0;
  for (const auto& request : server.requests(callbackPath))
    arrived += valueWithJSON(request.body)->at("events").as_array().size();
  EXPECT_EQ(arrived, 40u);
}

}  // namespace
}  // namespace oq::test
