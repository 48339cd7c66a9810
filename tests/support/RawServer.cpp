// SPDX-License-Identifier: Apache-2.0
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <stdexcept>

#include "support/LoopbackServer.h"

namespace oq::test {

namespace {

std::size_t bodyLength(const std::string& request) {
  const std::string field = "Content-Length: ";
  auto found = request.find(field);
  return found == std::string::npos ? 0 : std::strtoul(request.c_str() + found + field.size(), nullptr, 10);
}

}  // namespace

RawServer::Connection::Connection(SSL_CTX* context, int socket, std::atomic<std::size_t>& requestCount)
    : _ssl(SSL_new(context)), _socket(socket), _requestCount(requestCount) {
  SSL_set_fd(_ssl, _socket);
  int yes = 1;  // the last bytes must not wait for the client's acknowledgement
  setsockopt(_socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
}

RawServer::Connection::~Connection() {
  SSL_free(_ssl);
  close(_socket);
}

std::string RawServer::Connection::readRequest() {
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

bool RawServer::Connection::write(const std::string& bytes) {
  return SSL_write(_ssl, bytes.data(), static_cast<int>(bytes.size())) > 0;
}

bool RawServer::Connection::waitForRequest(int otherDescriptor) {
  if (SSL_has_pending(_ssl)) return true;
  pollfd waiting[] = {{_socket, POLLIN, 0}, {otherDescriptor, POLLIN, 0}};
  poll(waiting, 2, -1);
  return waiting[0].revents != 0;
}

void RawServer::Connection::closeTLS() {
  SSL_shutdown(_ssl);
}

void RawServer::Connection::closeTCP() {
  shutdown(_socket, SHUT_WR);
}

void RawServer::Connection::waitForClose() {
  char buffer[4096];
  while (SSL_read(_ssl, buffer, sizeof buffer) > 0) continue;
}

void RawServer::Connection::reset() {
  linger atOnce{1, 0};
  setsockopt(_socket, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
  int unconnected = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  dup3(unconnected, _socket, O_CLOEXEC);  // closes the connection, and reserves the number until the destructor
  close(unconnected);
}

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

RawServer::RawServer(std::function<void(Connection&)> serve, const Identity& identity)
    : _serve(std::move(serve)), _context(SSL_CTX_new(TLS_server_method())) {
  SSL_CTX_use_certificate(_context, identity.certificate.get());
  SSL_CTX_use_PrivateKey(_context, identity.key.get());
  _acceptor = std::thread([this] { acceptConnections(); });
}

RawServer::~RawServer() {
  shutdown(_listener, SHUT_RDWR);
  _acceptor.join();
  close(_listener);
  {
    std::lock_guard lock(_mutex);
    for (auto& [number, socket] : _openSockets) shutdown(socket, SHUT_RDWR);
  }
  for (auto& thread : _threads) thread.join();
  SSL_CTX_free(_context);
}

void RawServer::acceptConnections() {
  for (;;) {
    int socket = accept4(_listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (socket < 0 && errno == EMFILE) continue;  // a test may forbid new descriptors for a moment
    if (socket < 0) return;
    std::size_t number = _connectionCount++;
    std::lock_guard lock(_mutex);
    _openSockets[number] = socket;
    _threads.emplace_back([this, socket, number] { run(socket, number); });
  }
}

void RawServer::run(int socket, std::size_t number) {
  sigset_t brokenPipe;  // writing to a closed connection must not end the test
  sigemptyset(&brokenPipe);
  sigaddset(&brokenPipe, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &brokenPipe, nullptr);
  Connection connection(_context, socket, _requestCount);
  if (SSL_accept(connection._ssl) == 1) _serve(connection);
  // The socket leaves the map before ~Connection() closes it. Otherwise ~RawServer() could shut down another socket
  // that has got the same number since.
  std::lock_guard lock(_mutex);
  _openSockets.erase(number);
}

}  // namespace oq::test
