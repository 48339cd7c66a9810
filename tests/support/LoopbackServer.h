// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace oq::test {

/// An HTTPS server on the loopback interface, for tests. It runs from its construction to its destruction. The first
/// one creates a certificate authority in a temporary folder and points SSL_CERT_FILE at it, so that URL sessions of
/// this process trust it; create it before the first request.
///
///     LoopbackServer server;
///     server.answer("/push/sdk/login", R"({"code":0,"data":{}})");
///     ... post to server.url("/push/sdk/login") ...
///     EXPECT_EQ(server.requests("/push/sdk/login").front().header("Content-Type"), "application/json");
///
/// Any thread may use it. Handlers run on the server's threads, several at a time.
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
    selfSigned,        ///< for localhost, signed by itself
  };

  explicit LoopbackServer(Certificate certificate = Certificate::trusted);
  /// Finishes running handlers and closes all connections.
  ~LoopbackServer();
  LoopbackServer(const LoopbackServer&) = delete;
  LoopbackServer& operator=(const LoopbackServer&) = delete;

  int port() const;
  /// "https://localhost:PORT" and the path.
  std::string url(const std::string& path = "") const;

  /// Sets the handler of a path. Without a handler the response is 404. A request is recorded before its handler runs.
  void handle(const std::string& path, Handler handler);
  /// Sets a fixed JSON body and status as the response of a path.
  void answer(const std::string& path, std::string body, int status = 200);

  /// The requests so far, in order; with a path, only the requests for that path.
  std::vector<Request> requests(const std::string& path = "") const;
  /// The number of connections that have sent requests.
  std::size_t connectionCount() const;

  /// Points SSL_CERT_FILE at the authority without starting a server.
  static void trustTestAuthority();

 private:
  class Impl;
  std::unique_ptr<Impl> _impl;
};

/// Returns a listening socket on a free port of the loopback interface. The caller closes it.
int listenOnLoopback(int& port);

/// A TLS server with the trusted certificate. The test controls every byte, for responses that are not valid HTTP. Each
/// connection runs the function on its own thread and is closed when the function returns.
class RawServer {
 public:
  class Connection {
   public:
    /// Reads the next request: head and body, unchanged. Returns "" if the client has closed the connection.
    virtual std::string readRequest() = 0;
    /// False if the client has closed the connection.
    virtual bool write(const std::string& bytes) = 0;
    /// Waits for a request, the client's end, or the other descriptor. False if only the other descriptor is readable.
    virtual bool waitForRequest(int otherDescriptor) = 0;
    /// Ends the TLS stream in this direction. The TCP connection stays open.
    virtual void closeTLS() = 0;
    /// Ends the TCP connection in this direction.
    virtual void closeTCP() = 0;
    /// Reads and discards until the client closes.
    virtual void waitForClose() = 0;
    /// Resets the TCP connection without a TLS close, as a restarted machine does.
    virtual void reset() = 0;

   protected:
    ~Connection() = default;
  };

  explicit RawServer(std::function<void(Connection&)> serve);
  ~RawServer();
  RawServer(const RawServer&) = delete;
  RawServer& operator=(const RawServer&) = delete;

  int port() const;
  std::string url(const std::string& path = "") const;
  /// The number of requests read so far, over all connections.
  std::size_t requestCount() const;
  std::size_t connectionCount() const;

 private:
  class Impl;
  std::unique_ptr<Impl> _impl;
};

}  // namespace oq::test
