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
  std::size_t threads = 256;  // how many connections are served at a time
  std::time_t idleSeconds = 5;
};

// One HTTPS server on one address and port, with threads of its own.
class HttpsListener {
 public:
  // Throws std::runtime_error when the certificate cannot be used.
  explicit HttpsListener(const Certificates& certificates, const ConnectionLimits& limits = {});
  ~HttpsListener();

  // Where routes are added, before start().
  httplib::Server& routes() { return *_server; }

  // Takes the port (0: a free one) and returns its number. Clients that connect from now on wait for start().
  // Throws std::system_error when the address or the port cannot be had.
  int bind(const std::string& address, int port);

  void start();

  // Ends the connections after the answers that are being written, and waits for them. Safe at any time after
  // start().
  void stop();

 private:
  std::unique_ptr<httplib::SSLServer> _server;
  int _socket = -1;
  std::atomic<bool> _ended{false};  ///< it never listened, or no longer does
  std::thread _thread;
};

}  // namespace oq::server
