// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <atomic>
#include <ctime>
#include <thread>
#include <vector>

#include "Dispatch/DispatchQueue.h"
#include "Foundation/Networking/CurlTransport.h"
#include "Requests.h"
#include "oqsdk/OQSDKConstants.h"
#include "support/LoopbackServer.h"

namespace oq {
namespace {

using namespace std::chrono_literals;
using namespace test;

using URLSessionTest = TransportTest;

TEST_F(URLSessionTest, SendsTheRequestAndReturnsTheResponse) {
  LoopbackServer server;
  server.handle("/echo", [](const auto& request) {
    return LoopbackServer::Response{
        500, request.method + ":" + std::to_string(request.body.size()), "text/plain", {{"Set-Cookie", "a=b"}}};
  });
  URLRequest request = post(server.url("/echo?a=1&b=%20"), "{}");
  request.setValueForHTTPHeaderField("text/plain", "content-type");
  request.setValueForHTTPHeaderField("a\r\nX-Injected: b", "X-Bad");
  auto outcome = perform(std::move(request));
  EXPECT_EQ(outcome.status, 500) << "a response like any other";
  EXPECT_EQ(outcome.text, "POST:2");
  EXPECT_EQ(outcome.url, server.url("/echo?a=1&b=%20"));
  const auto seen = server.requests().at(0);
  EXPECT_EQ(seen.target, "/echo?a=1&b=%20");
  EXPECT_EQ(seen.header("Content-Type"), "text/plain");
  EXPECT_EQ(seen.header("User-Agent"), "OQSDK/" + OQSDKVersion);
  EXPECT_EQ(seen.header("Accept-Encoding"), "gzip, deflate");
  for (const auto& [name, value] : seen.headers)
    EXPECT_THAT(name, testing::Not(testing::AnyOf("Expect", "Cookie", "Cache-Control", "X-Injected", "X-Bad")));

  EXPECT_EQ(perform(get(server.url("/echo"))).text, "GET:0");
  EXPECT_EQ(perform(post(server.url("/echo"), "")).text, "POST:0");
  EXPECT_EQ(perform(post(server.url("/echo"), std::string(3 << 20, 'x'))).text, "POST:3145728");
  URLRequest put(URL::withString(server.url("/echo")), URLRequestCachePolicy::ReloadIgnoringLocalAndRemoteCacheData);
  put.setHTTPMethod("PUT");
  put.setHTTPBody(Data{1, 0, 2});
  EXPECT_EQ(perform(put).text, "PUT:3");
  put.setHTTPMethod("HEAD");
  EXPECT_EQ(perform(put).text, "");
  put.setHTTPMethod("DELETE /x HTTP/1.1\r\nX:");
  EXPECT_EQ(perform(put).text, "GET:3") << "a method with other characters is not used";
  const auto last = server.requests().at(4);
  EXPECT_EQ(last.header("Cache-Control"), "no-cache");
  EXPECT_EQ(last.header("Cookie") + last.header("Expect"), "");
}

TEST_F(URLSessionTest, AddressesWithoutHTTPSFailWithoutUsingTheNetwork) {
  struct NoTransport : URLTransport {
    void perform(URLRequest, URLCompletion) override { ADD_FAILURE() << "used the network"; }
  };
  setURLTransport(std::make_shared<NoTransport>());
  for (const char* address : {"", "(null)/push", "http://localhost:1/", "file:///etc/passwd", "ftp://localhost/"}) {
    auto outcome = perform(post(address, "{}"));
    EXPECT_EQ(outcome.errorCode, URLErrorUnsupportedURL) << address;
  }
}

TEST_F(URLSessionTest, RetryAfterIsReadInSecondsOrAsADate) {
  LoopbackServer server;
  const auto waitFor = [&](const std::string& field) {
    server.handle("/busy", [&](const auto&) {
      return LoopbackServer::Response{503, "", "text/plain", {{"Retry-After", field}}};
    });
    return perform(get(server.url("/busy"))).retryAfter;
  };
  EXPECT_EQ(waitFor("120"), 120);
  EXPECT_EQ(waitFor("-5"), 0);
  EXPECT_EQ(waitFor("soon"), 0);
  EXPECT_EQ(waitFor("Sun, 06 Nov 1994 08:49:37 GMT"), 0) << "in the past";
  char date[40];
  const std::time_t inAnHour = std::time(nullptr) + 3600;
  std::strftime(date, sizeof date, "%a, %d %b %Y %H:%M:%S GMT", std::gmtime(&inAnHour));
  EXPECT_NEAR(static_cast<double>(waitFor(date)), 3600, 60);
}

TEST_F(URLSessionTest, CancelledTasksFailOnceWhetherSentOrQueued) {
  std::promise<void> released;
  const auto release = released.get_future().share();
  LoopbackServer server;
  server.handle("/slow", [&](const auto&) {
    release.wait();
    return LoopbackServer::Response{};
  });
  server.answer("/fast", "{}");
  EXPECT_EQ(perform(post(server.url("/fast"))).status, 200);
  // Six are sent, the others wait for their turn.
  constexpr std::size_t sent = 6;
  std::vector<std::future<Outcome>> tasks;
  for (int i = 0; i < 10; ++i) tasks.push_back(start(i % 2 ? get(server.url("/slow")) : post(server.url("/slow"))));
  while (server.requests("/slow").size() < sent) std::this_thread::yield();
  // The transport's thread may not have seen these requests yet when they are cancelled.
  for (int i = 0; i < 3; ++i) tasks.push_back(start(post(server.url("/slow"))));
  URLSession::cancelAllTasks();
  auto later = start(post(server.url("/fast")));
  for (auto& task : tasks) EXPECT_EQ(outcomeOf(std::move(task)).errorCode, URLErrorCancelled);
  EXPECT_EQ(outcomeOf(std::move(later)).status, 200);
  EXPECT_EQ(server.requests("/slow").size(), sent) << "a cancelled request was sent";
  released.set_value();
  URLSession::cancelAllTasks();
  EXPECT_EQ(perform(post(server.url("/fast"))).status, 200);
}

// The server reads a second request on the kept connection and closes without a response. It may have handled the
// request, so it must not receive it again, whatever the method, and whether or not the body was sent.
class SentOnceTest : public URLSessionTest, public testing::WithParamInterface<const char*> {};

TEST_P(SentOnceTest, DeadKeptConnectionFailsWithoutSecondRequest) {
  RawServer server([](RawServer::Connection& connection) {
    connection.readRequest();
    connection.write("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok");
    connection.readRequest();
  });
  for (std::size_t round = 1; round <= 3; ++round) {
    URLRequest request = get(server.url("/"));
    request.setHTTPMethod(GetParam());
    if (request.httpMethod() == "POST") request.setHTTPBody(Data(round == 3 ? 300'000 : 2, 'x'));
    EXPECT_EQ(perform(request).text, "ok");
    EXPECT_EQ(perform(request).errorCode, URLErrorNetworkConnectionLost);
    EXPECT_EQ(server.requestCount(), 2 * round);
  }
}

INSTANTIATE_TEST_SUITE_P(Methods, SentOnceTest, testing::Values("POST", "GET", "DELETE"),
                         [](const auto& method) { return std::string(method.param); });

TEST_F(URLSessionTest, TimesOutOnlyIfNoBytesArrive) {
  RawServer stalled([](RawServer::Connection& connection) {
    connection.readRequest();
    connection.write("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n12345");
    connection.waitForClose();
  });
  EXPECT_EQ(perform(post(stalled.url("/"), "{}", 0.5)).errorCode, URLErrorTimedOut);
  // The whole transfer takes longer than the timeout. Each pause is much shorter, so that the test also passes on a
  // busy machine, where pauses take longer.
  RawServer slow([](RawServer::Connection& connection) {
    connection.readRequest();
    connection.write("HTTP/1.1 200 OK\r\nContent-Length: 12\r\n\r\n");
    for (int i = 0; i < 12; ++i) {
      std::this_thread::sleep_for(200ms);
      connection.write("x");
    }
    connection.waitForClose();
  });
  EXPECT_EQ(perform(post(slow.url("/"), "{}", 2)).text, "xxxxxxxxxxxx");
}

TEST_F(URLSessionTest, RedirectsUseOnlyHTTPSAndAreLimited) {
  LoopbackServer server;
  auto redirect = [&](const std::string& from, const std::string& to, int status) {
    server.handle(from, [=](const auto&) {
      return LoopbackServer::Response{status, "moved", "text/plain", {{"Location", to}}};
    });
  };
  server.handle("/end", [](const auto& request) {
    return LoopbackServer::Response{200, request.method + request.body, "text/plain"};
  });
  redirect("/found", "/end", 302);
  redirect("/same", "/end", 307);
  redirect("/plain", "http://localhost:" + std::to_string(server.port()) + "/end", 302);
  redirect("/loop", "/loop", 302);
  auto found = perform(post(server.url("/found"), "{}"));
  EXPECT_EQ(found.text, "GET");
  EXPECT_EQ(found.url, server.url("/end"));
  EXPECT_EQ(perform(post(server.url("/same"), "{}")).text, "POST{}");
  EXPECT_EQ(perform(get(server.url("/plain"))).errorCode, URLErrorUnsupportedURL);
  EXPECT_EQ(perform(get(server.url("/loop"))).errorCode, URLErrorHTTPTooManyRedirects);
  EXPECT_EQ(server.requests("/loop").size(), 21u);
}

TEST_F(URLSessionTest, ManyRequestsShareFewConnections) {
  LoopbackServer server;
  std::atomic<int> inside{0}, most{0};
  server.handle("/n", [&](const auto& request) {
    int now = ++inside;
    for (int known = most; known < now && !most.compare_exchange_weak(known, now);) continue;
    std::this_thread::sleep_for(2ms);  // so that requests would overlap if they could
    --inside;
    return LoopbackServer::Response{200, request.body};
  });
  std::vector<std::future<Outcome>> outcomes;
  for (int i = 0; i < 100; ++i) outcomes.push_back(start(post(server.url("/n"), std::to_string(i))));
  for (int i = 0; i < 100; ++i) EXPECT_EQ(outcomeOf(std::move(outcomes[i])).text, std::to_string(i));
  EXPECT_LE(server.connectionCount(), 6u);
  EXPECT_LE(most, 6);
  EXPECT_GT(most, 1);
}

// Slow completions delay neither each other nor further requests.
TEST_F(URLSessionTest, CompletionMayWaitForAnotherRequest) {
  DispatchQueue::installMain();
  LoopbackServer server;
  server.answer("/a", "a");
  std::promise<std::string> outer;
  auto session = URLSession::sessionWithConfiguration({});
  auto completion = [&](auto&, auto&, auto&) {
    EXPECT_NE(DispatchQueue::currentLabel(), DispatchQueue::main().label());
    outer.set_value(perform(get(server.url("/a"))).text);
  };
  session->dataTaskWithRequest(get(server.url("/a")), completion)->resume();
  EXPECT_EQ(outer.get_future().get(), "a");
}

class OneConnectionTest : public URLSessionTest {
 protected:
  OneConnectionTest() {
    CurlTransport::Limits limits;
    limits.transfersPerHost = 1;
    setURLTransport(CurlTransport::make(limits));
  }
  LoopbackServer server;
  std::vector<std::future<Outcome>> outcomes;
};

TEST_F(OneConnectionTest, TimeInTheQueueDoesNotCountTowardsTheTimeout) {
  server.handle("/slow", [](const auto&) {
    std::this_thread::sleep_for(300ms);
    return LoopbackServer::Response{200, "done"};
  });
  for (int i = 0; i < 9; ++i) outcomes.push_back(start(get(server.url("/slow"), 2)));
  for (auto& outcome : outcomes) EXPECT_EQ(outcome.get().text, "done");
  EXPECT_EQ(server.connectionCount(), 1u);
}

/// User reports reach the server before the pictures of campaigns that may be shown later.
TEST_F(OneConnectionTest, QueuedReportsAreSentBeforeQueuedPictures) {
  std::promise<void> begun, release;
  server.handle("/first", [&](const auto&) {
    begun.set_value();
    release.get_future().wait();
    return LoopbackServer::Response{200, "ok"};
  });
  outcomes.push_back(start(get(server.url("/first"))));
  begun.get_future().wait();
  for (const char* picture : {"/picture/1", "/picture/2"}) outcomes.push_back(start(get(server.url(picture))));
  for (const char* report : {"/report/1", "/report/2"}) outcomes.push_back(start(post(server.url(report))));
  release.set_value();
  for (auto& outcome : outcomes) outcomeOf(std::move(outcome));
  std::vector<std::string> order;
  for (const auto& request : server.requests()) order.push_back(request.path);
  EXPECT_THAT(order, testing::ElementsAre("/first", "/report/1", "/report/2", "/picture/1", "/picture/2"));
}

}  // namespace
}  // namespace oq
