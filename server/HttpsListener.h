// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <httplib.h>

#include <atomic>
#include <ctime>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "Certificates.h"

namespace oq::server {

struct ConnectionLimits {
  std::size_t threads = 256;  // limit of connections served at the same time
  std::time_t idleSeconds = 5;
};

// An HTTPS server on one address and port, with its own threads.
class HttpsListener {
 public:
  // Throws std::runtime_error if the certificate cannot be used.
  explicit HttpsListener(const Certificates& certificates, const ConnectionLimits& limits = {});
  ~HttpsListener();

  // The HTTP server, to add routes to it before start().
  httplib::Server& routes() { return *_server; }

  // Binds the port (0: any free one) and returns its number. Clients that connect from now on wait for start(). Throws
  // std::system_error if the address or the port is not available.
  int bind(const std::string& address, int port);

  void start();

  // Lets connections finish their current response, ends them, and waits for their threads. May be called at any time;
  // has no effect before start().
  void stop();

 private:
  std::unique_ptr<httplib::SSLServer> _server;
  int _socket = -1;
  std::atomic<bool> _ended{false};  ///< the listening thread has ended, or listening failed
  std::thread _thread;
};

}  // namespace oq::server
