#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "Foundation/Networking/CurlLibrary.h"

namespace oq {

/// The same moment on two clocks of the machine.
struct Moment {
  std::chrono::nanoseconds sinceBoot;  ///< includes the time during which the machine was suspended
  std::chrono::nanoseconds awake;      ///< does not include it

  static Moment now();
};

/// The connections of one transport, and whether one that carried a request before may carry another. libcurl 7.88
/// reuses a TLS connection on which the server has sent close_notify, or bytes that belong to no request. For the
/// transport's thread only; must outlive the connections.
class CurlConnections {
 public:
  struct Connection {
    const curl_socket_t socket;
    std::optional<Moment> lastUse = std::nullopt;  ///< absent until the first request
    std::chrono::nanoseconds longestIdle = std::chrono::seconds(30);
  };
  /// A TCP connection by its two ends: addresses as libcurl writes them, and ports.
  struct Ends {
    const char* remoteAddress;
    int remotePort;
    const char* localAddress;
    int localPort;
  };

  explicit CurlConnections(std::function<Moment()> clock) : _clock(std::move(clock)) {}
  CurlConnections(const CurlConnections&) = delete;
  CurlConnections& operator=(const CurlConnections&) = delete;

  /// From then on the connections that the handle opens are known.
  void observe(CURL* handle);
  /// nullptr if there is no such connection.
  std::shared_ptr<Connection> find(const Ends& ends) const;
  /// Whether the handle may send its request on this connection now. False if the server has closed the connection or
  /// has sent anything since the last answer, and if the connection was idle for too long or during a suspend: routers
  /// forget such connections.
  bool isUsable(const Connection& connection, CURL* handle) const;
  void noteUse(Connection& connection) const { connection.lastUse = _clock(); }

 private:
  static int onOpen(void* connections, curl_socket_t socket, curlsocktype);
  static int onClose(void* connections, curl_socket_t socket);

  const std::function<Moment()> _clock;
  std::map<curl_socket_t, std::shared_ptr<Connection>> _open;
};

/// How long a connection may be idle according to the header field "Keep-Alive: timeout=5"; nullopt for other lines.
/// The result is shorter than the server's limit, because a request that is sent at the last moment arrives too late.
std::optional<std::chrono::nanoseconds> longestIdleOf(std::string_view headerLine);

}  // namespace oq
