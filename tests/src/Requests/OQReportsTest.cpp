// SPDX-License-Identifier: Apache-2.0
#include "Requests/OQReports.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <future>
#include <limits>
#include <thread>

#include "Foundation/Files/FileDescriptor.h"
#include "Foundation/Networking/CurlTransport.h"
#include "support/EngineTest.h"
#include "support/LoopbackServer.h"

namespace oq::test {
namespace {

using Kind = OQReports::Kind;

constexpr const char* callbackPath = "/push/sdk/in_app/callback";
constexpr double aMinute = 60;

/// Sends all requests to another server over the network.
class TransportTo : public URLTransport {
 public:
  explicit TransportTo(std::string server) : _server(std::move(server)) {}
  void perform(URLRequest request, URLCompletion completion) override {
    const std::string& address = request.url()->absoluteString();
    URLRequest moved(URL::withString(_server + address.substr(address.find('/', address.find("//") + 2))),
                     request.cachePolicy(), request.timeoutInterval());
    moved.setHTTPMethod(request.httpMethod());
    moved.setHTTPBody(*request.httpBody());
    CurlTransport::shared()->perform(std::move(moved), std::move(completion));
  }

 private:
  const std::string _server;
};

class OQReportsTest : public WorldTest {
 protected:
  OQReportsTest() {
    network = std::make_shared<ScriptedTransport>(DispatchQueue::concurrent("test.network"));
    setURLTransport(network);
  }

  void send(int count) {
    for (int i = 0; i < count; ++i) {
      OQWindowEvent event;
      event.setXwhat(JSONValue(std::to_string(++sent)));
      reports->send(session, Kind::WindowEvent, event);
    }
  }

  OQSession::Values session;
  int sent = 0;
  std::shared_ptr<OQReports> reports = std::make_shared<OQReports>();
};

/// The test's thread is the main thread and runs no loop meanwhile, like a host that is about to exit.
TEST_F(OQReportsTest, FlushWaitsForAnswersAndReturnsWhatWasNotSent) {
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

/// OQSDK_REPORT_DELAY sets the milliseconds after which the server answers.
TEST_F(OQReportsTest, AllReportsReachASlowServerBeforeTheProcessEnds) {
  const char* asked = std::getenv("OQSDK_REPORT_DELAY");
  const auto delay = std::chrono::milliseconds(asked ? std::stoi(asked) : 5);
  LoopbackServer server;
  server.handle(callbackPath, [&](const auto&) {
    std::this_thread::sleep_for(delay);
    return LoopbackServer::Response{200, R"({"code":0})"};
  });
  setURLTransport(std::make_shared<TransportTo>(server.url()));
  const auto begin = std::chrono::steady_clock::now();
  send(20);
  EXPECT_EQ(reports->flush(aMinute), 0u);
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
  EXPECT_EQ(server.requests(callbackPath).size(), 20u);
  std::printf("[ reports  ] 20 reports, each delayed by %d ms: %.2f s\n", static_cast<int>(delay.count()),
              taken.count());
}

/// A server that accepts connections and never answers, and one that refuses them.
TEST_F(OQReportsTest, FlushAgainstADeadServerEndsInTime) {
  int port = 0;
  const FileDescriptor silent(listenOnLoopback(port));
  for (const int deadPort : {port, 1}) {
    setURLTransport(std::make_shared<TransportTo>("https://localhost:" + std::to_string(deadPort)));
    send(20);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(reports->flush(0.3), 20u);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
    EXPECT_LT(taken.count(), 10) << "much less than the timeout of a request";
    std::printf("[ reports  ] 20 reports to a dead server, limit 0.3 s: %.3f s\n", taken.count());
    reports->removeAll();
    EXPECT_EQ(reports->pending(), 0u);
  }
}

}  // namespace
}  // namespace oq::test
