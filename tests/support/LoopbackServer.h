// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "support/TestCertificates.h"

namespace oq::test {

/// Returns a socket that listens on a free port of the loopback interface, and sets `port` to its number. The caller
/// closes the socket.
int listenOnLoopback(int& port);

/// The trusted certificate for localhost and 127.0.0.1. Clients of this process trust it.
Identity trustedIdentity();

/// A TLS server. The test controls every byte, so that responses can be invalid HTTP. The server calls `serve` for each
/// connection, on a thread of its own, and closes the connection when `serve` returns.
class RawServer {
 public:
  class Connection {
   public:
    /// Reads the next request: head and body, unchanged. Returns "" if the client has closed the connection.
    std::string readRequest();
    /// False if the client has closed the connection.
    bool write(const std::string& bytes);
    /// Waits for a request, for the end of the client's stream, or until the other descriptor is readable. Returns
    /// false if only the other descriptor is readable.
    bool waitForRequest(int otherDescriptor);
    /// Ends the server's direction of the TLS stream. The TCP connection stays open.
    void closeTLS();
    /// Ends the server's direction of the TCP connection.
    void closeTCP();
    /// Reads and discards until the client closes.
    void waitForClose();
    /// Resets the TCP connection without a TLS close, as a restarted machine does.
    void reset();

   private:
    friend class RawServer;
    Connection(SSL_CTX* context, int socket, std::atomic<std::size_t>& requestCount);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    SSL* const _ssl;
    const int _socket;
    std::atomic<std::size_t>& _requestCount;
  };

  explicit RawServer(std::function<void(Connection&)> serve, const Identity& identity = trustedIdentity());
  ~RawServer();
  RawServer(const RawServer&) = delete;
  RawServer& operator=(const RawServer&) = delete;

  int port() const { return _port; }
  std::string url(const std::string& path = "") const { return "https://localhost:" + std::to_string(_port) + path; }
  /// The number of requests read so far, over all connections.
  std::size_t requestCount() const { return _requestCount; }
  std::size_t connectionCount() const { return _connectionCount; }

 private:
  void acceptConnections();
  void run(int socket, std::size_t number);

  const std::function<void(Connection&)> _serve;
  SSL_CTX* const _context;
  int _port = 0;
  const int _listener = listenOnLoopback(_port);
  std::atomic<std::size_t> _requestCount{0}, _connectionCount{0};
  std::mutex _mutex;
  std::map<std::size_t, int> _openSockets;
  std::vector<std::thread> _threads;
  std::thread _acceptor;
};

/// An HTTP server on top of RawServer. The first instance creates a certificate authority in a temporary folder and
/// points SSL_CERT_FILE at it, so that URL sessions of this process trust it. Create this instance before the first
/// request. Any thread may use it. Handlers run on the server's threads, several at a time.
class LoopbackServer {
 public:
  struct Request {
    std::string method;
    std::string path;    ///< without the query
    std::string target;  ///< with the query
    std::string body;
    std::vector<std::pair<std::string, std::string>> headers;
    /// The value of the field, or "". The name is not case-sensitive.
    std::string header(const std::string& field) const;
  };
  struct Response {
    int status = 200;
    std::string body;
    std::string contentType = "application/json";
    std::vector<std::pair<std::string, std::string>> headers = {};
  };
  using Handler = std::function<Response(const Request&)>;

  enum class Certificate {
    trusted,           ///< from the authority that SSL_CERT_FILE names, for localhost and 127.0.0.1
    unknownAuthority,  ///< for localhost, from an authority that no client trusts
    otherHost,         ///< from the trusted authority, for another name
    expired,           ///< from the trusted authority, for localhost, expired
  };

  /// The destructor waits for running handlers and closes all connections.
  explicit LoopbackServer(Certificate certificate = Certificate::trusted);

  int port() const { return _server.port(); }
  /// "https://localhost:PORT" and the path.
  std::string url(const std::string& path = "") const { return _server.url(path); }

  /// Sets the handler of a path. Without a handler the response is 404. A request is recorded before its handler runs.
  void handle(const std::string& path, Handler handler);
  /// Sets a fixed JSON body and status as the response of a path.
  void answer(const std::string& path, std::string body, int status = 200);

  /// The requests so far, in order; with a path, only the requests for that path.
  std::vector<Request> requests(const std::string& path = "") const;
  /// The number of connections that have sent requests.
  std::size_t connectionCount() const { return _connections; }

  /// Points SSL_CERT_FILE at the authority without starting a server.
  static void trustTestAuthority() { TestAuthority::trusted().trust(); }

 private:
  void serve(RawServer::Connection& connection);
  Response responseTo(const Request& request);

  mutable std::mutex _mutex;
  std::map<std::string, Handler> _handlers;
  std::vector<Request> _recorded;
  std::atomic<std::size_t> _connections{0};
  RawServer _server;
};

}  // namespace oq::test
