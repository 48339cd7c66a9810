#include "support/LoopbackServer.h"

#include <fcntl.h>
#include <httplib.h>
#include <strings.h>
#include <sys/file.h>
#include <unistd.h>

#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>

#include "support/TestCertificates.h"

namespace oq::test {

namespace {

Identity identityFor(LoopbackServer::Certificate certificate) {
  TestAuthority::trusted().trust();
  switch (certificate) {
    case LoopbackServer::Certificate::unknownAuthority:
      return TestAuthority::unknown().issue("DNS:localhost,IP:127.0.0.1");
    case LoopbackServer::Certificate::otherHost:
      return TestAuthority::trusted().issue("DNS:elsewhere.example");
    case LoopbackServer::Certificate::expired:
      return TestAuthority::trusted().issueExpired("DNS:localhost,IP:127.0.0.1");
    case LoopbackServer::Certificate::selfSigned:
      return TestAuthority::selfSigned("DNS:localhost,IP:127.0.0.1");
    case LoopbackServer::Certificate::trusted:
      break;
  }
  return TestAuthority::trusted().issue("DNS:localhost,IP:127.0.0.1");
}

/// Tests that run side by side take turns at a fixed port.
class PortLock {
 public:
  explicit PortLock(int port) {
    if (port == 0) return;
    auto file = std::filesystem::temp_directory_path() / ("oqsdk-test-port-" + std::to_string(port));
    _descriptor = open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (_descriptor >= 0) flock(_descriptor, LOCK_EX);
  }
  ~PortLock() {
    if (_descriptor >= 0) close(_descriptor);
  }
  PortLock(const PortLock&) = delete;
  PortLock& operator=(const PortLock&) = delete;

 private:
  int _descriptor = -1;
};

}  // namespace

std::string LoopbackServer::Request::header(const std::string& field) const {
  for (const auto& [name, value] : headers) {
    if (strcasecmp(name.c_str(), field.c_str()) == 0) return value;
  }
  return "";
}

class LoopbackServer::Impl {
 public:
  Impl(int fixedPort, Certificate certificate)
      : portLock(fixedPort),
        identity(identityFor(certificate)),
        server(identity.certificate.get(), identity.key.get()) {
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
    auto serve = [this](const httplib::Request& request, httplib::Response& response) {
      reply(request, response);
    };
    server.Get(".*", serve).Post(".*", serve).Put(".*", serve).Delete(".*", serve);
    if (fixedPort == 0) {
      port = server.bind_to_any_port("127.0.0.1");
    } else {
      port = server.bind_to_port("127.0.0.1", fixedPort) ? fixedPort : -1;
    }
    if (port <= 0) throw std::runtime_error("the loopback server has no port");
    thread = std::thread([this] { server.listen_after_bind(); });
    while (!server.is_running()) std::this_thread::yield();
  }

  ~Impl() {
    server.stop();
    {
      // Connections that are kept alive would hold the server up for as long as they may be idle.
      std::lock_guard lock(mutex);
      for (auto& [clientPort, socket] : connections) shutdown(socket, SHUT_RDWR);
    }
    thread.join();
    for (auto& [clientPort, socket] : connections) close(socket);
  }

  void keepConnection(const httplib::Request& request) {
    std::lock_guard lock(mutex);
    if (connections.contains(request.remote_port)) return;
    // A descriptor of our own: the server closes its own whenever it likes.
    connections[request.remote_port] = fcntl(SSL_get_fd(request.ssl), F_DUPFD_CLOEXEC, 0);
  }

  void reply(const httplib::Request& request, httplib::Response& response) {
    Request seen{request.method, request.path, request.target, request.body, {}, request.remote_port};
    seen.headers.assign(request.headers.begin(), request.headers.end());
    Handler handler;
    {
      std::lock_guard lock(mutex);
      recorded.push_back(seen);
      auto found = handlers.find(request.path);
      if (found != handlers.end()) handler = found->second;
    }
    arrived.notify_all();
    Response answer = handler ? handler(seen) : Response{404, "", "text/plain"};
    response.status = answer.status;
    for (const auto& [name, value] : answer.headers) response.set_header(name, value);
    response.set_content(answer.body, answer.contentType);
  }

  std::vector<Request> requestsWhere(const std::function<bool(const Request&)>& wanted) const {
    std::lock_guard lock(mutex);
    std::vector<Request> found;
    std::copy_if(recorded.begin(), recorded.end(), std::back_inserter(found), wanted);
    return found;
  }

  PortLock portLock;
  Identity identity;
  httplib::SSLServer server;
  int port = 0;
  std::thread thread;

  mutable std::mutex mutex;
  mutable std::condition_variable arrived;
  std::map<std::string, Handler> handlers;
  std::vector<Request> recorded;
  std::map<int, int> connections;  ///< a duplicate of the socket, by the client's port
};

LoopbackServer::LoopbackServer(int port, Certificate certificate)
    : _impl(std::make_unique<Impl>(port, certificate)) {}

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

std::vector<LoopbackServer::Request> LoopbackServer::requests() const {
  return _impl->requestsWhere([](const Request&) { return true; });
}

std::vector<LoopbackServer::Request> LoopbackServer::requests(const std::string& path) const {
  return _impl->requestsWhere([&](const Request& request) { return request.path == path; });
}

bool LoopbackServer::waitForRequests(const std::string& path, std::size_t count,
                                     std::chrono::milliseconds timeout) const {
  std::unique_lock lock(_impl->mutex);
  return _impl->arrived.wait_for(lock, timeout, [&] {
    auto isForPath = [&](const Request& request) { return request.path == path; };
    return std::count_if(_impl->recorded.begin(), _impl->recorded.end(), isForPath) >=
           static_cast<std::ptrdiff_t>(count);
  });
}

std::size_t LoopbackServer::connectionCount() const {
  std::lock_guard lock(_impl->mutex);
  return _impl->connections.size();
}

void LoopbackServer::trustTestAuthority() {
  TestAuthority::trusted().trust();
}

}  // namespace oq::test
