#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>
#include <zlib.h>

#include <fstream>
#include <functional>
#include <future>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Foundation/CurlTransport.h"
#include "Foundation/URLSession.h"
#include "support/LoopbackServer.h"

/// What servers and networks do wrong: each is one failure, with its code, and nobody waits for it.
namespace oq {
namespace {

using namespace std::chrono_literals;
using test::LoopbackServer;
using test::RawServer;

struct Outcome {
  std::size_t length = 0;
  std::int64_t code = 0;  ///< 0 for an answer
};

std::future<Outcome> start(const std::string& address, double timeout) {
  URLRequest request(URL::withString(address), URLRequestCachePolicy::ReloadIgnoringLocalCacheData, timeout);
  request.setHTTPMethod("POST");
  request.setHTTPBody(dataFromString("{}"));
  auto promise = std::make_shared<std::promise<Outcome>>();
  auto completion = [promise](const Data& data, const auto& response, const std::optional<Error>& error) {
    EXPECT_NE(response.has_value(), error.has_value());
    if (error) {
      EXPECT_EQ(error->domain, URLErrorDomain);
      EXPECT_NE(error->localizedDescription, "");
    }
    promise->set_value({data.size(), error ? error->code : 0});  // throws when it is called twice
  };
  URLSession::sessionWithConfiguration({})->dataTaskWithRequest(std::move(request), completion)->resume();
  return promise->get_future();
}

Outcome outcomeOf(std::future<Outcome> future) {
  bool isDone = future.wait_for(60s) == std::future_status::ready;
  EXPECT_TRUE(isDone) << "no completion";
  return isDone ? future.get() : Outcome{};
}

Outcome perform(const std::string& address, double timeout = 20) {
  return outcomeOf(start(address, timeout));
}

class ServerFaults : public testing::Test {
 protected:
  ServerFaults() { LoopbackServer::trustTestAuthority(); }
  ~ServerFaults() override { setURLTransport(nullptr); }
};

/// A port that takes connections and never says a word, nor reads one.
class MutePort {
 public:
  MutePort() : _socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    socklen_t length = sizeof address;
    bool isOpen = ::bind(_socket, generic, length) == 0 && ::listen(_socket, 64) == 0 &&
                  ::getsockname(_socket, generic, &length) == 0;
    EXPECT_TRUE(isOpen);
    _port = ntohs(address.sin_port);
  }
  ~MutePort() { ::close(_socket); }
  MutePort(const MutePort&) = delete;
  MutePort& operator=(const MutePort&) = delete;
  std::string url() const { return "https://localhost:" + std::to_string(_port) + "/"; }

 private:
  int _socket;
  int _port = 0;
};

TEST_F(ServerFaults, OfTheNetworkAndTheCertificate) {
  using Certificate = LoopbackServer::Certificate;
  struct Case {
    Certificate certificate;
    const char* name;
  };
  for (const Case& each : {Case{Certificate::expired, "expired"},
                           {Certificate::otherHost, "wrong host"},
                           {Certificate::selfSigned, "self-signed"},
                           {Certificate::unknownAuthority, "unknown"}}) {
    LoopbackServer server(each.certificate);
    EXPECT_EQ(perform(server.url("/")).code, URLErrorServerCertificateUntrusted) << each.name;
    EXPECT_TRUE(server.requests().empty()) << "sent to a server that nobody vouches for: " << each.name;
  }
  // An address to which no packet can go, so that none leaves the machine.
  EXPECT_EQ(perform("https://255.255.255.255/").code, URLErrorCannotConnectToHost) << "no route";
  std::string refused = LoopbackServer().url("/");
  EXPECT_EQ(perform(refused).code, URLErrorCannotConnectToHost) << "refused";
  EXPECT_EQ(perform("https://no-such-host.invalid/").code, URLErrorCannotFindHost);
  EXPECT_EQ(perform("https://:99999999/").code, URLErrorBadURL);
  MutePort mute;
  EXPECT_EQ(perform(mute.url(), 0.3).code, URLErrorTimedOut) << "no TLS";
}

TEST_F(ServerFaults, OfTheAnswer) {
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
  const std::string tenAnnounced = "HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n";
  struct Case {
    const char* name;
    Serve serve;
    std::int64_t code;
  };
  const Case cases[] = {
      {"reset before the answer", resetsAfter(""), URLErrorNetworkConnectionLost},
      {"reset in the head", resetsAfter("HTTP/1.1 200 OK\r\nContent-"), URLErrorNetworkConnectionLost},
      {"reset in the body", resetsAfter(tenAnnounced + "12345"), URLErrorNetworkConnectionLost},
      {"reset in a body without a length", resetsAfter("HTTP/1.1 200 OK\r\n\r\n12345"),
       URLErrorNetworkConnectionLost},
      {"shorter than announced", sends(tenAnnounced + "12345"), URLErrorNetworkConnectionLost},
      {"chunks without an end", sends("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\n12345\r\n"),
       URLErrorNetworkConnectionLost},
      {"chunks and a trailer, as they may be",
       sends("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n1\r\nx\r\n0\r\nTrailer: y\r\n\r\n"), 0},
      {"cut off in the head", sends("HTTP/1.1 200 OK\r\nContent-Le"), URLErrorNetworkConnectionLost},
      {"closed without an answer", [](RawServer::Connection&) {}, URLErrorNetworkConnectionLost},
      {"another protocol", sends("220 mail.example ESMTP\r\n"), URLErrorBadServerResponse},
      {"a length that is no number", sends("HTTP/1.1 200 OK\r\nContent-Length: ten\r\n\r\n12345"),
       URLErrorBadServerResponse},
      {"a negative length", sends("HTTP/1.1 200 OK\r\nContent-Length: -10\r\n\r\n12345"),
       URLErrorBadServerResponse},
      {"not gzip as announced",
       sends("HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: 5\r\n\r\n12345"),
       URLErrorBadServerResponse},
  };
  for (const Case& each : cases) {
    RawServer server([&](RawServer::Connection& connection) {
      if (!connection.readRequest().empty()) each.serve(connection);
    });
    EXPECT_EQ(perform(server.url("/")).code, each.code) << each.name;
    EXPECT_EQ(server.requestCount(), 1u) << each.name;
  }
}

TEST_F(ServerFaults, AByteNowAndThenEndsWithTheWholeTransfersTime) {
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
  EXPECT_EQ(perform(server.url("/"), 0.5).code, URLErrorTimedOut);
  EXPECT_EQ(gone.get_future().wait_for(60s), std::future_status::ready) << "the connection was kept";
}

// The server does nothing until the hand-over has returned: if that waited for anything, this would not end.
TEST_F(ServerFaults, HandingOverWaitsForNothing) {
  std::promise<void> handedOver;
  auto returned = handedOver.get_future().share();
  RawServer server([&](RawServer::Connection& connection) {
    bool isIdle = returned.wait_for(60s) == std::future_status::ready;
    EXPECT_TRUE(isIdle) << "the caller was kept";
    connection.readRequest();
    connection.write("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok");
  });
  MutePort mute;
  std::vector<std::future<Outcome>> refused;
  for (int i = 0; i < 20; ++i) refused.push_back(start(mute.url(), 0.3));
  auto answered = start(server.url("/"), 60);
  auto unknown = start("https://255.255.255.255/", 60);
  handedOver.set_value();
  EXPECT_EQ(outcomeOf(std::move(answered)).length, 2u) << "a mute host kept another one waiting";
  EXPECT_EQ(outcomeOf(std::move(unknown)).code, URLErrorCannotConnectToHost);
  for (auto& each : refused) EXPECT_EQ(outcomeOf(std::move(each)).code, URLErrorTimedOut);
}

std::string gzipped(const std::string& text, int times) {
  z_stream stream{};
  deflateInit2(&stream, 9, Z_DEFLATED, 15 + 16, 9, Z_DEFAULT_STRATEGY);
  std::string packed;
  char buffer[65536];
  for (int i = 0; i <= times; ++i) {
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    stream.avail_in = i < times ? static_cast<uInt>(text.size()) : 0;
    do {
      stream.next_out = reinterpret_cast<Bytef*>(buffer);
      stream.avail_out = sizeof buffer;
      deflate(&stream, i < times ? Z_NO_FLUSH : Z_FINISH);
      packed.append(buffer, sizeof buffer - stream.avail_out);
    } while (stream.avail_out == 0);
  }
  deflateEnd(&stream);
  return packed;
}

std::string gzipAnswer(const std::string& packed) {
  return "HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: " + std::to_string(packed.size()) +
         "\r\n\r\n" + packed;
}

TEST_F(ServerFaults, PackedAnswersAreUnpacked) {
  std::string request;
  RawServer server([&](RawServer::Connection& connection) {
    request = connection.readRequest();
    connection.write(gzipAnswer(gzipped(std::string(1000, 'x'), 100)));
    connection.waitForClose();
  });
  EXPECT_EQ(perform(server.url("/")).length, 100'000u);
  EXPECT_NE(request.find("Accept-Encoding: gzip, deflate\r\n"), request.npos) << request;
}

/// The most memory that the process has had, in MiB; reset() forgets what was before.
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

TEST_F(ServerFaults, EndlessAnswersEndAtTheLimitAndTakeNoMoreMemory) {
  constexpr std::size_t limit = 64u << 20;
  const std::string block(1 << 20, 'x');
  const std::string bomb = gzipped(block, 300), full = gzipped(block, 64), over = gzipped(block + "x", 64);
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
  perform(LoopbackServer().url("/"));  // whatever is loaded once
  PeakMemory::reset();
  double before = PeakMemory::mebibytes();
  EXPECT_EQ(perform(endless.url("/")).code, URLErrorBadServerResponse);
  EXPECT_EQ(gone.get_future().wait_for(60s), std::future_status::ready);
  EXPECT_EQ(perform(packed.url("/bomb")).code, URLErrorBadServerResponse);
  EXPECT_EQ(perform(packed.url("/over")).code, URLErrorBadServerResponse);
  EXPECT_EQ(perform(packed.url("/full")).length, limit);
  EXPECT_EQ(perform(endlessHead.url("/")).code, URLErrorBadServerResponse);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  EXPECT_LT(PeakMemory::mebibytes() - before, 64 + 16);
#else
  (void)before;
#endif
}

}  // namespace
}  // namespace oq
