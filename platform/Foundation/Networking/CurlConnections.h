// SPDX-License-Identifier: Apache-2.0
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

/// One moment on two clocks of the machine.
struct Moment {
  std::chrono::nanoseconds sinceBoot;  ///< includes time while the machine was suspended
  std::chrono::nanoseconds awake;      ///< excludes the time while the machine was suspended

  static Moment now();
};

/// Tracks the connections of one transport, and whether a used connection may carry another request. The class is
/// needed because libcurl 7.88 reuses a TLS connection on which the server has sent close_notify, or bytes that belong
/// to no request. For the transport's thread only; must outlive the connections.
class CurlConnections {
 public:
  struct Connection {
    const curl_socket_t socket;
    std::optional<Moment> lastUse = std::nullopt;  ///< absent until the first request
    std::chrono::nanoseconds longestIdle = std::chrono::seconds(30);
  };
  /// A TCP connection, identified by the addresses (as libcurl writes them) and ports of its two ends.
  struct Ends {
    const char* remoteAddress;
    int remotePort;
    const char* localAddress;
    int localPort;
  };

  explicit CurlConnections(std::function<Moment()> clock) : _clock(std::move(clock)) {}
  CurlConnections(const CurlConnections&) = delete;
  CurlConnections& operator=(const CurlConnections&) = delete;

  /// Tracks the connections that the handle opens from now on.
  void observe(CURL* handle);
  /// nullptr if there is no such connection.
  std::shared_ptr<Connection> find(const Ends& ends) const;
  /// Whether the handle may send its request on this connection now. False if the server has closed the connection or
  /// has sent anything since the last response, or if the connection was idle for too long or during a suspend (routers
  /// forget such connections).
  bool isUsable(const Connection& connection, CURL* handle) const;
  void noteUse(Connection& connection) const { connection.lastUse = _clock(); }

 private:
  static int onOpen(void* connections, curl_socket_t socket, curlsocktype);
  static int onClose(void* connections, curl_socket_t socket);

  const std::function<Moment()> _clock;
  std::map<curl_socket_t, std::shared_ptr<Connection>> _open;
};

/// How long a connection may be idle according to the header field "Keep-Alive: timeout=5"; nullopt for other lines.
/// The result is shorter than the server's limit, because a request sent at the last moment would arrive too late.
std::optional<std::chrono::nanoseconds> longestIdleOf(std::string_view headerLine);

}  // namespace oq
