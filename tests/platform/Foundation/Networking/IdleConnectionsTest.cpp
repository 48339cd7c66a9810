// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <mutex>

#include "Foundation/Files/FileDescriptor.h"
#include "Foundation/Networking/CurlTransport.h"
#include "Requests.h"
#include "support/LoopbackServer.h"
#include "support/ScratchFolder.h"
#include "support/TestCertificates.h"

/// Tests of kept connections that end between requests, and of the next request.
namespace oq {
namespace {

using namespace std::chrono_literals;
using namespace test;

const std::string kLateAnswer = "HTTP/1.1 408 Request Timeout\r\nContent-Length: 4\r\nConnection: close\r\n\r\nlate";

/// The request's method and path, as in "GET:/1".
std::string nameOf(const std::string& request) {
  std::string name = request.substr(0, request.find(" HTTP/"));
  return name.replace(name.find(' '), 1, ":");
}

/// Waits until each connection of this process to the port has received bytes, the end of the stream or an error.
/// Returns false after a minute.
bool hasNewsOnAll(int port) {
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    pollfd socket{std::atoi(entry.path().filename().c_str()), POLLIN, 0};
    sockaddr_in peer{};
    socklen_t length = sizeof peer;
    const bool isConnected = ::getpeername(socket.fd, reinterpret_cast<sockaddr*>(&peer), &length) == 0;
    if (isConnected && ntohs(peer.sin_port) == port && ::poll(&socket, 1, 60'000) != 1) return false;
  }
  return true;
}

/// Answers every request with its name. closeAll() ends all idle connections.
class ClosingServer {
 public:
  using Close = void (*)(RawServer::Connection&);
  explicit ClosingServer(Close close) : _close(close) { renewSignal(); }

  std::string url(const std::string& path) const { return _server.url(path); }

  bool closeAll() {
    ::eventfd_write(_signal, 1);
    renewSignal();
    return hasNewsOnAll(_server.port());
  }

  std::vector<std::string> requests() {
    std::lock_guard lock(_mutex);
    return _requests;
  }

 private:
  void renewSignal() { _signal = _signals.emplace_back(::eventfd(0, EFD_CLOEXEC)).get(); }

  void serve(RawServer::Connection& connection) {
    const int signal = _signal;
    while (connection.waitForRequest(signal)) {
      const std::string request = connection.readRequest();
      if (request.empty()) break;
      const std::string name = nameOf(request);
      {
        std::lock_guard lock(_mutex);
        _requests.push_back(name);
      }
      connection.write("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(name.size()) + "\r\n\r\n" + name);
    }
    _close(connection);
    connection.waitForClose();
  }

  const Close _close;
  std::mutex _mutex;
  std::vector<std::string> _requests;
  std::vector<FileDescriptor> _signals;
  std::atomic<int> _signal{-1};  ///< closeAll() makes it readable; for connections accepted from now on
  RawServer _server{[this](RawServer::Connection& connection) { serve(connection); }};
};

struct Ending {
  const char* name;
  ClosingServer::Close close;
};

const Ending kEndings[] = {
    {"CloseNotify", [](RawServer::Connection& connection) { connection.closeTLS(); }},
    {"CloseNotifyAndFin", [](auto& connection) { connection.closeTLS(), connection.closeTCP(); }},
    {"Fin", [](auto& connection) { connection.closeTCP(); }},
    {"Reset", [](auto& connection) { connection.reset(); }},
    {"LateAnswerAndFin", [](auto& connection) { connection.write(kLateAnswer), connection.closeTCP(); }},
};

class IdleConnections : public TransportTest {
 protected:
  /// Sends `count` requests in parallel, alternating reports and pictures, and expects each to get its own response.
  void sendBurst(int count, const std::function<std::string(const std::string&)>& url) {
    std::vector<std::pair<std::string, std::future<Outcome>>> sent;
    for (int i = 0; i < count; ++i) {
      const std::string path = "/" + std::to_string(_sent.size());
      const bool isReport = _sent.size() % 2 == 0;
      _sent.push_back((isReport ? "POST:" : "GET:") + path);
      sent.emplace_back(_sent.back(), start(isReport ? post(url(path)) : get(url(path))));
    }
    for (auto& [name, outcome] : sent) {
      const Outcome result = outcomeOf(std::move(outcome));
      EXPECT_EQ(result.text, name) << "error " << result.errorCode << ", status " << result.status;
    }
  }

  std::vector<std::string> _sent;
};

class ClosedWhileIdle : public IdleConnections, public testing::WithParamInterface<Ending> {};

TEST_P(ClosedWhileIdle, EveryRequestArrivesOnce) {
  for (const int count : {1, 6}) {
    ClosingServer server(GetParam().close);
    _sent.clear();
    for (int cycle = 0; cycle < 101 && !HasFailure(); ++cycle) {
      sendBurst(count, [&](const std::string& path) { return server.url(path); });
      ASSERT_TRUE(server.closeAll());
    }
    EXPECT_THAT(server.requests(), testing::UnorderedElementsAreArray(_sent));
  }
}

INSTANTIATE_TEST_SUITE_P(Endings, ClosedWhileIdle, testing::ValuesIn(kEndings),
                         [](const auto& ending) { return std::string(ending.param.name); });

// The end of a response and extra bytes can be in one TLS record, of which libcurl reads only the response.
TEST_F(IdleConnections, ExtraBytesAfterResponseAreIgnored) {
  const std::string head = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n";
  const std::vector<std::string> recordsOf[] = {{head, "ok" + kLateAnswer}, {head + "ok" + kLateAnswer}};
  for (const auto& records : recordsOf) {
    RawServer server([&](RawServer::Connection& connection) {
      connection.readRequest();
      for (const std::string& record : records) connection.write(record);
      connection.waitForClose();
    });
    for (int i = 0; i < 3; ++i) EXPECT_EQ(perform(post(server.url("/"))).text, "ok");
    EXPECT_EQ(server.requestCount(), 3u);
  }
}

TEST_F(IdleConnections, NotReusedAfterTimeoutSuspendOrServerLimit) {
  struct Pause {
    std::chrono::milliseconds sinceBoot, awake;
    bool isUsedAgain;
  };
  constexpr auto plain = 29900ms, announced = 3900ms;
  const std::pair<std::string, std::vector<Pause>> cases[] = {
      {"", {{plain, plain, true}, {30s, 30s, false}, {2s, 1s, false}, {plain, plain, true}, {plain, 0s, false}}},
      {"Keep-Alive: timeout=5, max=100\r\n", {{announced, announced, true}, {4s, 4s, false}}},
      {"keep-alive: timeout=60\r\n", {{plain, plain, true}, {30s, 30s, false}}},
      {"Keep-Alive: max=100\r\nX-Other: timeout=5\r\n", {{plain, plain, true}}}};
  for (const auto& [field, pauses] : cases) {
    // No lock guards `now`: the library's thread reads the clock only during a request, while this thread waits.
    Moment now{1000s, 500s};
    CurlTransport::Limits limits;
    limits.clock = [&] { return now; };
    setURLTransport(CurlTransport::make(limits));
    RawServer server([&, field = field](RawServer::Connection& connection) {
      while (!connection.readRequest().empty())
        connection.write("HTTP/1.1 200 OK\r\n" + field + "Content-Length: 2\r\n\r\nok");
    });
    EXPECT_EQ(perform(post(server.url("/"))).text, "ok");
    std::size_t connections = 1;
    for (const Pause& pause : pauses) {
      now = {now.sinceBoot + pause.sinceBoot, now.awake + pause.awake};
      EXPECT_EQ(perform(post(server.url("/"))).text, "ok");
      connections += pause.isUsedAgain ? 0 : 1;
      EXPECT_EQ(server.connectionCount(), connections) << field << pause.sinceBoot.count() << " ms";
    }
    EXPECT_EQ(server.requestCount(), 1 + pauses.size());
  }
}

TEST_F(IdleConnections, RedirectToClosedConnectionRepeatsOnlyUnsentRequest) {
  ClosingServer second(kEndings[0].close);
  LoopbackServer first;
  for (const int status : {302, 307}) {
    first.handle("/" + std::to_string(status), [&, status](const auto&) {
      return LoopbackServer::Response{status, "", "text/plain", {{"Location", second.url("/there")}}};
    });
  }
  for (const auto& [path, hop] : {std::pair{"/302", "GET:/there"}, {"/307", "POST:/there"}, {"/302", "GET:/there"}}) {
    EXPECT_EQ(perform(get(second.url("/before"))).text, "GET:/before");
    EXPECT_TRUE(second.closeAll());
    EXPECT_EQ(perform(post(first.url(path))).text, hop);
  }
  // A request with credentials fails instead. If the library repeated it at the redirect's target, libcurl would send
  // the first server's credentials to the second server.
  for (const char* credentials : {"authorization", "cookie"}) {
    URLRequest request = post(first.url("/302"));
    request.setValueForHTTPHeaderField("secret", credentials);
    EXPECT_EQ(perform(get(second.url("/before"))).text, "GET:/before");
    EXPECT_TRUE(second.closeAll());
    EXPECT_EQ(perform(request).errorCode, URLErrorNetworkConnectionLost);
  }
  EXPECT_EQ(first.requests().size(), 5u);
  EXPECT_THAT(second.requests(), testing::ElementsAre("GET:/before", "GET:/there", "GET:/before", "POST:/there",
                                                      "GET:/before", "GET:/there", "GET:/before", "GET:/before"));
}

/// A real nginx on a free port, in its own folder. It closes connections that were idle for two seconds.
class Nginx {
 public:
  Nginx() {
    TestAuthority::trusted().trust();
    const Identity identity = TestAuthority::trusted().issue("DNS:localhost,IP:127.0.0.1");
    identity.write(_folder / "certificate.pem", _folder / "key.pem");
    const FileDescriptor listener(listenOnLoopback(_port));
    _folder.write("nginx.conf", R"(
daemon off; worker_processes 1; pid nginx.pid;
events {}
http {
  keepalive_timeout 2;
  log_format name '$request_method:$uri';
  access_log access.log name;
  client_body_temp_path body; proxy_temp_path proxy; fastcgi_temp_path fastcgi; uwsgi_temp_path uwsgi;
  scgi_temp_path scgi;
  server {
    listen 127.0.0.1:)" + std::to_string(_port) +
                                    R"( ssl;
    ssl_certificate certificate.pem; ssl_certificate_key key.pem;
    location / { return 200 $request_method:$uri; }
  }
})");
    // nginx takes over the open socket, as it does when it restarts itself: no other program can take the port.
    const std::string prefix = _folder.path().string() + "/", socket = "NGINX=" + std::to_string(listener.get()) + ";";
    const char* const environment[] = {socket.c_str(), nullptr};
    _process = ::fork();
    if (_process != 0) return;
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    ::fcntl(listener.get(), F_SETFD, 0);
    ::fcntl(listener.get(), F_SETFL, O_NONBLOCK);
    ::execle("/usr/sbin/nginx", "nginx", "-p", prefix.c_str(), "-c", "nginx.conf", "-e", "error.log", nullptr,
             environment);
    ::_exit(127);
  }
  ~Nginx() { stop(); }
  Nginx(const Nginx&) = delete;
  Nginx& operator=(const Nginx&) = delete;

  int port() const { return _port; }
  std::string url(const std::string& path) const { return "https://localhost:" + std::to_string(_port) + path; }
  /// Stops the server. Afterwards its log is complete.
  void stop() {
    if (_process <= 0) return;
    ::kill(_process, SIGQUIT);
    statusOf(std::exchange(_process, -1));
  }
  std::vector<std::string> requests() const {
    std::ifstream log(_folder / "access.log");
    return {std::istream_iterator<std::string>(log), {}};
  }
  std::string errors() const { return textOfFile(_folder / "error.log"); }

 private:
  ScratchFolder _folder;
  int _port = 0;
  pid_t _process = -1;
};

TEST_F(IdleConnections, ConnectionsClosedByNginxLoseNoRequest) {
  const char* cycles = std::getenv("OQSDK_NGINX_CYCLES");  // each takes four seconds
  Nginx nginx;
  const auto url = [&](const std::string& path) { return nginx.url(path); };
  sendBurst(1, url);
  ASSERT_FALSE(HasFailure()) << nginx.errors();
  for (int cycle = 0; cycle < (cycles ? std::atoi(cycles) : 1); ++cycle) {
    for (const int count : {6, 1}) {
      ASSERT_TRUE(hasNewsOnAll(nginx.port()));
      sendBurst(count, url);
    }
  }
  nginx.stop();
  EXPECT_THAT(nginx.requests(), testing::UnorderedElementsAreArray(_sent));
}

}  // namespace
}  // namespace oq
