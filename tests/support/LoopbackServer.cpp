// SPDX-License-Identifier: Apache-2.0
#include "support/LoopbackServer.h"

#include <fcntl.h>
#include <httplib.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <mutex>
#include <stdexcept>
#include <thread>

#include "support/TestCertificates.h"

namespace oq::test {

namespace {

Identity identityFor(LoopbackServer::Certificate certificate) {
  TestAuthority::trusted().trust();
  using enum LoopbackServer::Certificate;
  const char* here = "DNS:localhost,IP:127.0.0.1";
  if (certificate == unknownAuthority) return TestAuthority::unknown().issue(here);
  if (certificate == otherHost) return TestAuthority::trusted().issue("DNS:elsewhere.example");
  if (certificate == expired) return TestAuthority::trusted().issueExpired(here);
  if (certificate == selfSigned) return TestAuthority::selfSigned(here);
  return TestAuthority::trusted().issue(here);
}

}  // namespace

std::string LoopbackServer::Request::header(const std::string& field) const {
  for (const auto& [name, value] : headers) {
    if (strcasecmp(name.c_str(), field.c_str()) == 0) return value;
  }
  return "";
}

class LoopbackServer::Impl {
 public:
  explicit Impl(Certificate certificate)
      : identity(identityFor(certificate)), server(identity.certificate.get(), identity.key.get()) {
    server.set_tcp_nodelay(true);
    server.set_keep_alive_max_count(1'000'000);
    server.set_keep_alive_timeout(60);
    server.new_task_queue = [] { return new httplib::ThreadPool(16); };
    // Without SO_REUSEPORT, which would share a port with another process.
    server.set_socket_options([](int socket) {
      int yes = 1;
      setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    });
    server.set_pre_routing_handler([this](const httplib::Request& request, httplib::Response&) {
      keepConnection(request);
      return httplib::Server::HandlerResponse::Unhandled;
    });
    auto serve = [this](const httplib::Request& request, httplib::Response& response) { reply(request, response); };
    server.Get(".*", serve).Post(".*", serve).Put(".*", serve).Delete(".*", serve);
    port = server.bind_to_any_port("127.0.0.1");
    if (port <= 0) throw std::runtime_error("the loopback server cannot bind a port");
    thread = std::thread([this] { server.listen_after_bind(); });
    while (!server.is_running()) std::this_thread::yield();
  }

  ~Impl() {
    server.stop();
    {
      // Otherwise stopping would wait for the idle timeout of kept-alive connections.
      std::lock_guard lock(mutex);
      for (auto& [clientPort, socket] : connections) shutdown(socket, SHUT_RDWR);
    }
    thread.join();
    for (auto& [clientPort, socket] : connections) close(socket);
  }

  void keepConnection(const httplib::Request& request) {
    std::lock_guard lock(mutex);
    if (connections.contains(request.remote_port)) return;
    // A duplicate, since the server may close its descriptor at any time.
    connections[request.remote_port] = fcntl(SSL_get_fd(request.ssl), F_DUPFD_CLOEXEC, 0);
  }

  void reply(const httplib::Request& request, httplib::Response& response) {
    Request seen{request.method, request.path, request.target, request.body, {}};
    seen.headers.assign(request.headers.begin(), request.headers.end());
    Handler handler;
    {
      std::lock_guard lock(mutex);
      recorded.push_back(seen);
      auto found = handlers.find(request.path);
      if (found != handlers.end()) handler = found->second;
    }
    Response answer = handler ? handler(seen) : Response{404, "", "text/plain"};
    response.status = answer.status;
    for (const auto& [name, value] : answer.headers) response.set_header(name, value);
    response.set_content(answer.body, answer.contentType);
  }

  Identity identity;
  httplib::SSLServer server;
  int port = 0;
  std::thread thread;

  mutable std::mutex mutex;
  std::map<std::string, Handler> handlers;
  std::vector<Request> recorded;
  std::map<int, int> connections;  ///< a duplicate of the socket, by the client's port
};

LoopbackServer::LoopbackServer(Certificate certificate) : _impl(std::make_unique<Impl>(certificate)) {}

LoopbackServer::~LoopbackServer() = default;

int LoopbackServer::port() const {
  return _impl->port;
}

std::string LoopbackServer::url(const std::string& path) const {
  return "https://localhost:" + std::to_string(_impl->port) + path;
}

void LoopbackServer::handle(const std::string& path, Handler handler) {
  std::lock_guard lock(_impl->mutex);
  _impl->handlers[path] = std::move(handler);
}

void LoopbackServer::answer(const std::string& path, std::string body, int status) {
  handle(path, [body = std::move(body), status](const Request&) { return Response{status, body}; });
}

std::vector<LoopbackServer::Request> LoopbackServer::requests(const std::string& path) const {
  std::lock_guard lock(_impl->mutex);
  std::vector<Request> found;
  for (const Request& request : _impl->recorded) {
    if (path.empty() || request.path == path) found.push_back(request);
  }
  return found;
}

std::size_t LoopbackServer::connectionCount() const {
  std::lock_guard lock(_impl->mutex);
  return _impl->connections.size();
}

void LoopbackServer::trustTestAuthority() {
  TestAuthority::trusted().trust();
}

}  // namespace oq::test
