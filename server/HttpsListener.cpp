// SPDX-License-Identifier: Apache-2.0
#include "HttpsListener.h"

#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "ConnectionThreads.h"

namespace oq::server {

namespace {

void noteHandshake(const SSL* ssl, int where, int) {
  if (where & SSL_CB_HANDSHAKE_START) ConnectionThreads::noteSocket(SSL_get_fd(ssl));
}

// Called when a connection's TLS state is freed. cpp-httplib frees this state immediately before it closes the socket.
void noteFree(void*, void*, CRYPTO_EX_DATA*, int, long, void*) {
  ConnectionThreads::noteEnd();
}

bool setUp(SSL_CTX& context, const Certificates& certificates) {
  SSL_CTX_set_info_callback(&context, noteHandshake);
  static const int watchesFree = SSL_get_ex_new_index(0, nullptr, nullptr, nullptr, noteFree);
  return watchesFree >= 0 && SSL_CTX_set_min_proto_version(&context, TLS1_2_VERSION) == 1 &&
         SSL_CTX_use_certificate_chain_file(&context, certificates.certificateFile().c_str()) == 1 &&
         SSL_CTX_use_PrivateKey_file(&context, certificates.keyFile().c_str(), SSL_FILETYPE_PEM) == 1;
}

// SO_REUSEADDR allows binding the address right after a restart, but not while another server uses it. cpp-httplib's
// default, SO_REUSEPORT, would let two servers share the address.
void allowRestart(int socket) {
  const int yes = 1;
  setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
}

// Binds and closes a socket to get the error code, since cpp-httplib does not report one.
int tryBind(const std::string& address, int port) {
  addrinfo hints{}, *found = nullptr;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_PASSIVE;
  if (getaddrinfo(address.c_str(), std::to_string(port).c_str(), &hints, &found) != 0) return EADDRNOTAVAIL;
  const int probe = socket(found->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
  int error = probe < 0 ? errno : 0;
  if (!error) {
    allowRestart(probe);
    if (::bind(probe, found->ai_addr, found->ai_addrlen) != 0) error = errno;
    close(probe);
  }
  freeaddrinfo(found);
  return error;
}

}  // namespace

HttpsListener::HttpsListener(const Certificates& certificates, const ConnectionLimits& limits)
    : _server(std::make_unique<httplib::SSLServer>(
          [&certificates](SSL_CTX& context) { return setUp(context, certificates); })) {
  if (!_server->is_valid()) {
    throw std::runtime_error(certificates.certificateFile().string() + ": cannot be used by OpenSSL");
  }
  _server->set_tcp_nodelay(true);
  _server->set_keep_alive_max_count(1'000'000);
  _server->set_keep_alive_timeout(limits.idleSeconds);
  _server->set_logger([](const auto&, const auto&) { ConnectionThreads::noteAnswer(); });
  _server->new_task_queue = [threads = limits.threads] { return new ConnectionThreads(threads); };
  _server->set_socket_options([this](int socket) {
    allowRestart(socket);
    _socket = socket;
  });
}

HttpsListener::~HttpsListener() {
  stop();
}

int HttpsListener::bind(const std::string& address, int port) {
  const auto fail = [&](int error) {
    throw std::system_error(error, std::generic_category(), address + " port " + std::to_string(port));
  };
  if (const int error = tryBind(address, port)) fail(error);
  const int bound = port == 0 ? _server->bind_to_any_port(address) : port;
  if (bound < 0 || (port != 0 && !_server->bind_to_port(address, port))) fail(EADDRINUSE);
  // cpp-httplib's backlog of five is too short for a burst of clients: a rejected client waits one second before it
  // tries again.
  ::listen(_socket, SOMAXCONN);
  return bound;
}

void HttpsListener::start() {
  _thread = std::thread([this] {
    _server->listen_after_bind();
    _ended = true;
  });
  // cpp-httplib ignores a stop() before the server is running.
  while (!_server->is_running() && !_ended) std::this_thread::yield();
}

void HttpsListener::stop() {
  if (!_thread.joinable()) return;
  _server->stop();
  _thread.join();
}

}  // namespace oq::server
