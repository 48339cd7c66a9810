// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <functional>
#include <thread>

#include "Foundation/Files/FileDescriptor.h"
#include "Foundation/Networking/CurlTransport.h"
#include "Requests.h"
#include "support/LoopbackServer.h"
#include "support/Python.h"

/// Faults of servers and networks. Each makes its request fail once, with the right error code, and blocks no other
/// request.
namespace oq {
namespace {

using namespace std::chrono_literals;
using namespace test;

class ServerFaults : public TransportTest {
 protected:
  ServerFaults() { LoopbackServer::trustTestAuthority(); }
};

/// A port that accepts connections, and neither sends nor reads anything.
class MutePort {
 public:
  std::string url() const { return "https://localhost:" + std::to_string(_port) + "/"; }

 private:
  int _port = 0;
  FileDescriptor _socket{listenOnLoopback(_port)};
};

TEST_F(ServerFaults, NetworkAndCertificateErrorsAreReportedWithTheirCodes) {
  using Certificate = LoopbackServer::Certificate;
  for (auto [certificate, name] : {std::pair{Certificate::expired, "expired"},
                                   {Certificate::otherHost, "wrong host"},
                                   {Certificate::unknownAuthority, "unknown"}}) {
    LoopbackServer server(certificate);
    EXPECT_EQ(perform(post(server.url("/"))).errorCode, URLErrorServerCertificateUntrusted) << name;
    EXPECT_TRUE(server.requests().empty()) << "sent to an untrusted server: " << name;
  }
  // An address without a route, so that no packet leaves the machine.
  EXPECT_EQ(perform(post("https://255.255.255.255/")).errorCode, URLErrorCannotConnectToHost) << "no route";
  std::string refused = LoopbackServer().url("/");
  EXPECT_EQ(perform(post(refused)).errorCode, URLErrorCannotConnectToHost) << "refused";
  // A label of the name is too long: the resolver rejects it without asking the network.
  EXPECT_EQ(perform(post("https://" + std::string(64, 'x') + ".invalid/")).errorCode, URLErrorCannotFindHost);
  EXPECT_EQ(perform(post("https://:99999999/")).errorCode, URLErrorBadURL);
  MutePort mute;
  EXPECT_EQ(perform(post(mute.url(), "{}", 0.3)).errorCode, URLErrorTimedOut) << "silent";
  int port = 0;
  const FileDescriptor listener(listenOnLoopback(port));
  std::jthread plain([&] {
    const FileDescriptor socket(::accept(listener.get(), nullptr, nullptr));
    ::send(socket.get(), "no TLS\r\n", 8, MSG_NOSIGNAL);
  });
  EXPECT_EQ(perform(post("https://localhost:" + std::to_string(port))).errorCode, URLErrorSecureConnectionFailed);
}

TEST_F(ServerFaults, InvalidResponsesFailWithTheirCodesAndAreNotRequestedAgain) {
  using Serve = std::function<void(RawServer::Connection&)>;
  auto sends = [](std::string answer) -> Serve {
    return [answer](RawServer::Connection& connection) { connection.write(answer); };
  };
  auto resetsAfter = [](std::string answer) -> Serve {
    return [answer](RawServer::Connection& connection) {
      if (!answer.empty()) connection.write(answer);
      connection.reset();
    };
  };
  const std::string ok = "HTTP/1.1 200 OK\r\n", ten = ok + "Content-Length: 10\r\n\r\n",
                    chunked = ok + "Transfer-Encoding: chunked\r\n\r\n";
  struct Case {
    const char* name;
    Serve serve;
    std::int64_t code;
  };
  constexpr auto lost = URLErrorNetworkConnectionLost, bad = URLErrorBadServerResponse;
  const Case cases[] = {
      {"reset before the answer", resetsAfter(""), lost},
      {"reset in the head", resetsAfter(ok + "Content-"), lost},
      {"reset in the body", resetsAfter(ten + "12345"), lost},
      {"reset in a body without a length", resetsAfter(ok + "\r\n12345"), lost},
      {"shorter than announced", sends(ten + "12345"), lost},
      {"chunks without an end", sends(chunked + "5\r\n12345\r\n"), lost},
      {"valid: chunks and a trailer", sends(chunked + "1\r\nx\r\n0\r\nTrailer: y\r\n\r\n"), 0},
      {"cut off in the head", sends(ok + "Content-Le"), lost},
      {"closed without an answer", [](RawServer::Connection&) {}, lost},
      {"another protocol", sends("220 mail.example ESMTP\r\n"), bad},
      {"a length that is not a number", sends(ok + "Content-Length: ten\r\n\r\n12345"), bad},
      {"a negative length", sends(ok + "Content-Length: -10\r\n\r\n12345"), bad},
      {"not gzip", sends(ok + "Content-Encoding: gzip\r\nContent-Length: 5\r\n\r\n12345"), bad},
  };
  for (const Case& each : cases) {
    RawServer server([&](RawServer::Connection& connection) {
      if (!connection.readRequest().empty()) each.serve(connection);
    });
    EXPECT_EQ(perform(post(server.url("/"))).errorCode, each.code) << each.name;
    EXPECT_EQ(server.requestCount(), 1u) << each.name;
  }
}

TEST_F(ServerFaults, SlowTrickleEndsAtWholeTransferLimit) {
  CurlTransport::Limits limits;
  limits.wholeTransfer = 1s;
  setURLTransport(CurlTransport::make(limits));
  std::promise<void> gone;
  RawServer server([&](RawServer::Connection& connection) {
    connection.readRequest();
    connection.write("HTTP/1.1 200 OK\r\nContent-Length: 1000000\r\n\r\n");
    while (connection.write("x")) std::this_thread::sleep_for(50ms);
    gone.set_value();
  });
  EXPECT_EQ(perform(post(server.url("/"), "{}", 0.5)).errorCode, URLErrorTimedOut);
  EXPECT_EQ(gone.get_future().wait_for(60s), std::future_status::ready) << "the connection stayed open";
}

// The server does nothing until start() has returned: if start() waited, this test would not end.
TEST_F(ServerFaults, StartDoesNotWaitForTheServer) {
  std::promise<void> handedOver;
  auto returned = handedOver.get_future().share();
  RawServer server([&](RawServer::Connection& connection) {
    bool isIdle = returned.wait_for(60s) == std::future_status::ready;
    EXPECT_TRUE(isIdle) << "the caller was blocked";
    connection.readRequest();
    connection.write("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok");
  });
  MutePort mute;
  std::vector<std::future<Outcome>> refused;
  for (int i = 0; i < 20; ++i) refused.push_back(start(post(mute.url(), "{}", 0.3)));
  auto answered = start(post(server.url("/"), "{}", 60));
  auto unknown = start(post("https://255.255.255.255/", "{}", 60));
  handedOver.set_value();
  EXPECT_EQ(outcomeOf(std::move(answered)).length, 2u) << "a silent host delayed another one";
  EXPECT_EQ(outcomeOf(std::move(unknown)).errorCode, URLErrorCannotConnectToHost);
  for (auto& each : refused) EXPECT_EQ(outcomeOf(std::move(each)).errorCode, URLErrorTimedOut);
}

/// The output of the shell command, compressed with gzip.
std::string gzipped(const std::string& program) {
  return outputOf(program + " | gzip --fast");
}

std::string gzipAnswer(const std::string& packed) {
  return "HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: " + std::to_string(packed.size()) + "\r\n\r\n" +
         packed;
}

/// The peak memory of the process in MiB; reset() starts a new measurement.
struct PeakMemory {
  static void reset() { std::ofstream("/proc/self/clear_refs") << "5"; }
  static double mebibytes() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
      if (line.starts_with("VmHWM:")) return std::stod(line.substr(6)) / 1024;
    }
    return 0;
  }
};

TEST_F(ServerFaults, EndlessResponsesEndAtLimitWithBoundedMemory) {
  constexpr std::size_t limit = 64u << 20;
  const std::string block(1 << 20, 'x');
  const std::string zeros = "head --bytes=" + std::to_string(limit) + " /dev/zero";
  const std::string bomb = gzipped("head --bytes=300M /dev/zero"), full = gzipped(zeros),
                    over = gzipped("(" + zeros + "; echo)");
  std::promise<void> gone;
  RawServer endless([&](RawServer::Connection& connection) {
    connection.readRequest();
    bool isThere = connection.write("HTTP/1.1 200 OK\r\n\r\n");
    while (isThere) isThere = connection.write(block);
    gone.set_value();
  });
  RawServer packed([&](RawServer::Connection& connection) {
    auto path = connection.readRequest().substr(6, 4);
    connection.write(gzipAnswer(path == "bomb" ? bomb : path == "full" ? full : over));
    connection.waitForClose();
  });
  RawServer endlessHead([&](RawServer::Connection& connection) {
    connection.readRequest();
    bool isThere = connection.write("HTTP/1.1 200 OK\r\n");
    while (isThere) isThere = connection.write("X-Field: " + std::string(1000, 'x') + "\r\n");
  });
  perform(post(LoopbackServer().url("/")));  // so that what the first request allocates does not count
  PeakMemory::reset();
  double before = PeakMemory::mebibytes();
  EXPECT_EQ(perform(post(endless.url("/"))).errorCode, URLErrorBadServerResponse);
  EXPECT_EQ(gone.get_future().wait_for(60s), std::future_status::ready);
  EXPECT_EQ(perform(post(packed.url("/bomb"))).errorCode, URLErrorBadServerResponse);
  EXPECT_EQ(perform(post(packed.url("/over"))).errorCode, URLErrorBadServerResponse);
  EXPECT_EQ(perform(post(packed.url("/full"))).length, limit);
  EXPECT_EQ(perform(post(endlessHead.url("/"))).errorCode, URLErrorBadServerResponse);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  EXPECT_LT(PeakMemory::mebibytes() - before, 64 + 16);
#else
  (void)before;
#endif
}

}  // namespace
}  // namespace oq
