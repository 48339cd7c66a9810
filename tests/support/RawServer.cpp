// SPDX-License-Identifier: Apache-2.0
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <map>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "support/LoopbackServer.h"
#include "support/TestCertificates.h"

namespace oq::test {

namespace {

class TLSConnection final : public RawServer::Connection {
 public:
  TLSConnection(SSL_CTX* context, int socket, std::atomic<std::size_t>& requestCount)
      : _ssl(SSL_new(context)), _socket(socket), _requestCount(requestCount) {
    SSL_set_fd(_ssl, _socket);
    int yes = 1;  // the last bytes must not wait for the client's acknowledgement
    setsockopt(_socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
  }
  ~TLSConnection() {
    SSL_free(_ssl);
    close(_socket);
  }
  TLSConnection(const TLSConnection&) = delete;
  TLSConnection& operator=(const TLSConnection&) = delete;

  bool accept() { return SSL_accept(_ssl) == 1; }

  std::string readRequest() override {
    std::string request;
    std::size_t bodyStart = std::string::npos;
    while (bodyStart == std::string::npos || request.size() < bodyStart + bodyLength(request)) {
      char buffer[4096];
      int count = SSL_read(_ssl, buffer, sizeof buffer);
      if (count <= 0) return "";
      request.append(buffer, static_cast<std::size_t>(count));
      auto headEnd = request.find("\r\n\r\n");
      if (headEnd != std::string::npos) bodyStart = headEnd + 4;
    }
    ++_requestCount;
    return request;
  }

  bool write(const std::string& bytes) override {
    return SSL_write(_ssl, bytes.data(), static_cast<int>(bytes.size())) > 0;
  }

  bool waitForRequest(int otherDescriptor) override {
    if (SSL_has_pending(_ssl)) return true;
    pollfd waiting[] = {{_socket, POLLIN, 0}, {otherDescriptor, POLLIN, 0}};
    poll(waiting, 2, -1);
    return waiting[0].revents != 0;
  }

  void closeTLS() override { SSL_shutdown(_ssl); }
  void closeTCP() override { shutdown(_socket, SHUT_WR); }

  void reset() override {
    linger atOnce{1, 0};
    setsockopt(_socket, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    int unconnected = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    dup3(unconnected, _socket, O_CLOEXEC);  // closes the connection, and reserves the number until the destructor
    close(unconnected);
  }

  void waitForClose() override {
    char buffer[4096];
    while (SSL_read(_ssl, buffer, sizeof buffer) > 0) continue;
  }

 private:
  static std::size_t bodyLength(const std::string& request) {
    const std::string field = "Content-Length: ";
    auto found = request.find(field);
    return found == std::string::npos ? 0 : std::strtoul(request.c_str() + found + field.size(), nullptr, 10);
  }

  SSL* _ssl;
  int _socket;
  std::atomic<std::size_t>& _requestCount;
};

}  // namespace

int listenOnLoopback(int& port) {
  int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  auto generic = reinterpret_cast<sockaddr*>(&address);
  socklen_t length = sizeof address;
  bool isListening =
      bind(listener, generic, length) == 0 && listen(listener, 64) == 0 && getsockname(listener, generic, &length) == 0;
  if (!isListening) throw std::runtime_error("a test server cannot bind a port");
  port = ntohs(address.sin_port);
  return listener;
}

class RawServer::Impl {
 public:
  explicit Impl(std::function<void(Connection&)> function)
      : serve(std::move(function)), context(SSL_CTX_new(TLS_server_method())) {
    TestAuthority::trusted().trust();
    Identity identity = TestAuthority::trusted().issue("DNS:localhost,IP:127.0.0.1");
    SSL_CTX_use_certificate(context, identity.certificate.get());
    SSL_CTX_use_PrivateKey(context, identity.key.get());
    acceptor = std::thread([this] { acceptConnections(); });
  }

  ~Impl() {
    shutdown(listener, SHUT_RDWR);
    acceptor.join();
    close(listener);
    {
      std::lock_guard lock(mutex);
      for (auto& [number, socket] : openSockets) shutdown(socket, SHUT_RDWR);
    }
    for (auto& thread : threads) thread.join();
    SSL_CTX_free(context);
  }

  void acceptConnections() {
    for (;;) {
      int socket = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
      if (socket < 0) return;
      std::size_t number = connectionCount++;
      std::lock_guard lock(mutex);
      openSockets[number] = socket;
      threads.emplace_back([this, socket, number] { run(socket, number); });
    }
  }

  void run(int socket, std::size_t number) {
    sigset_t brokenPipe;  // writing to a closed connection must not end the test
    sigemptyset(&brokenPipe);
    sigaddset(&brokenPipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &brokenPipe, nullptr);
    TLSConnection connection(context, socket, requestCount);
    if (connection.accept()) serve(connection);
    // Removed before it is closed, so that the destructor does not shut down another socket with the same number.
    std::lock_guard lock(mutex);
    openSockets.erase(number);
  }

  std::function<void(Connection&)> serve;
  SSL_CTX* context;
  int port = 0;
  const int listener = listenOnLoopback(port);
  std::atomic<std::size_t> requestCount{0};
  std::atomic<std::size_t> connectionCount{0};
  std::mutex mutex;
  std::map<std::size_t, int> openSockets;
  std::vector<std::thread> threads;
  std::thread acceptor;
};

RawServer::RawServer(std::function<void(Connection&)> serve) : _impl(std::make_unique<Impl>(std::move(serve))) {}

RawServer::~RawServer() = default;

int RawServer::port() const {
  return _impl->port;
}

std::string RawServer::url(const std::string& path) const {
  return "https://localhost:" + std::to_string(_impl->port) + path;
}

std::size_t RawServer::requestCount() const {
  return _impl->requestCount;
}

std::size_t RawServer::connectionCount() const {
  return _impl->connectionCount;
}

}  // namespace oq::test
