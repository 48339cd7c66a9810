#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "Foundation/Networking/CurlConnections.h"
#include "Foundation/Networking/CurlLibrary.h"
#include "Foundation/Networking/URLSession.h"

namespace oq {

/// One request on its way through libcurl, and what has come back so far. Made on any thread, then used by
/// the transport's thread only.
class CurlTransfer {
 public:
  using Clock = std::chrono::steady_clock;

  /// The connections are those of the transport.
  CurlTransfer(URLRequest request, URLCompletion completion, CurlConnections& connections, std::size_t longestBody,
               std::chrono::milliseconds wholeTime);
  ~CurlTransfer();
  CurlTransfer(const CurlTransfer&) = delete;
  CurlTransfer& operator=(const CurlTransfer&) = delete;

  /// Host and port, as the address has them.
  const std::string& host() const { return _host; }
  /// Nothing at the server is changed by it.
  bool onlyFetches() const { return _request.httpMethod() == "GET"; }

  /// Sets everything that the request needs on the handle, and starts the clock.
  void prepare(CURL* handle);
  /// True if the transfer ended because libcurl chose an unusable connection, before anything was sent on it. The
  /// handle is then ready to go on with the same request on another connection.
  bool prepareAgain();
  /// When the transfer has taken too long: without a byte once it has been prepared, or in all.
  Clock::time_point deadline() const;
  /// Hands the outcome to the completion, on a background queue; the first call counts.
  void complete(CURLcode result);
  void completeWithError(URLErrorCode code, std::string description);

 private:
  static std::size_t onBody(char* bytes, std::size_t size, std::size_t count, void* transfer);
  static std::size_t onHeader(char* bytes, std::size_t size, std::size_t count, void* transfer);
  static int onProgress(void* transfer, curl_off_t, curl_off_t received, curl_off_t, curl_off_t sent);
  static int onRequest(void* transfer, char* remoteAddress, char* localAddress, int remotePort, int localPort);

  /// False when that would be too much.
  bool append(const char* bytes, std::size_t length);
  void setMethodAndBody();
  void setHeaderFields();
  void setAuthorities();
  void addHeaderLine(const std::string& line);
  URLErrorCode errorCodeFor(CURLcode result) const;
  std::string descriptionOf(CURLcode result) const;

  const URLRequest _request;
  URLCompletion _completion;
  CurlConnections& _connections;
  const std::size_t _longestBody;
  const Clock::time_point _latestEnd;
  const std::string _host;
  const std::string _namedAuthorities;

  CURL* _handle = nullptr;
  curl_slist* _headerLines = nullptr;
  char _message[CURL_ERROR_SIZE] = "";
  std::optional<Clock::time_point> _lastByte;
  curl_off_t _bytesSoFar = 0;
  std::shared_ptr<CurlConnections::Connection> _connection;  ///< of the request that was sent last
  long _redirectsLeft = 20;
  bool _isAwaitingAnswer = false;      ///< a request has been given to a connection, and no byte has come back yet
  bool _isConnectionUnusable = false;  ///< of the request that is about to be sent
  bool _isHeadComplete = false;        ///< of the answer that came last
  bool _isTooLong = false;
  std::size_t _headLength = 0;  ///< of all answers, redirects included
  Data _body;
};

}  // namespace oq
