#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace oq::test {

/// An HTTPS server on the loopback interface, for tests. It is up when it is made and down when it is gone.
/// The first one makes a certificate authority in a temporary folder and points SSL_CERT_FILE at it, so that
/// URL sessions of this process trust it; make it before the first request.
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
    /// The value of the field, whatever the case of its name; empty when there is none.
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
    unknownAuthority,  ///< for localhost, from an authority that nobody knows
    otherHost,         ///< from the trusted authority, for another name
    expired,           ///< from the trusted authority, for localhost, out of date
    selfSigned,        ///< for localhost, from no authority
  };

  explicit LoopbackServer(Certificate certificate = Certificate::trusted);
  /// Ends the answers that are under way and closes all connections.
  ~LoopbackServer();
  LoopbackServer(const LoopbackServer&) = delete;
  LoopbackServer& operator=(const LoopbackServer&) = delete;

  int port() const;
  /// "https://localhost:PORT" and the path.
  std::string url(const std::string& path = "") const;

  /// What answers the path from now on; a path without a handler gets 404. A request is recorded before its
  /// handler runs.
  void handle(const std::string& path, Handler handler);
  /// Answers the path with this JSON text and status from now on.
  void answer(const std::string& path, std::string body, int status = 200);

  /// What has come so far, in order; with a path, for that path only.
  std::vector<Request> requests(const std::string& path = "") const;
  /// How many different connections have brought requests.
  std::size_t connectionCount() const;

  /// Points SSL_CERT_FILE at the authority without making a server.
  static void trustTestAuthority();

 private:
  class Impl;
  std::unique_ptr<Impl> _impl;
};

/// A socket that takes connections at a free port of the loopback interface; the caller's to close.
int listenOnLoopback(int& port);

/// A TLS server with the trusted certificate whose every byte the test decides: for answers that no server
/// should give. Each connection runs the function on a thread of its own; when the function returns, the
/// connection is closed.
class RawServer {
 public:
  class Connection {
   public:
    /// The next request, head and body as they came; empty when the client has closed.
    virtual std::string readRequest() = 0;
    /// False when the client has gone.
    virtual bool write(const std::string& bytes) = 0;
    /// True when a request or the client's end has come; false when the other descriptor became readable first.
    virtual bool waitForRequest(int otherDescriptor) = 0;
    /// Says in the TLS stream that nothing more comes from here. The connection stays open below it.
    virtual void closeTLS() = 0;
    /// The same for the TCP connection.
    virtual void closeTCP() = 0;
    /// Waits until the client closes, reading what it sends.
    virtual void waitForClose() = 0;
    /// Ends the connection as a machine does that has lost its state: without a farewell, in the middle.
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
  /// Requests read so far, over all connections.
  std::size_t requestCount() const;
  std::size_t connectionCount() const;

 private:
  class Impl;
  std::unique_ptr<Impl> _impl;
};

}  // namespace oq::test
