// SPDX-License-Identifier: Apache-2.0
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

/// One request that libcurl performs, and the response received so far. Created on any thread, then used by the
/// transport's thread only.
class CurlTransfer {
 public:
  using Clock = std::chrono::steady_clock;

  /// `connections` belongs to the transport. `longestBody` is a number of bytes after decompression. `wholeTime` is the
  /// limit for the whole transfer, which starts with this call.
  CurlTransfer(URLRequest request, URLCompletion completion, CurlConnections& connections, std::size_t longestBody,
               std::chrono::milliseconds wholeTime);
  ~CurlTransfer();
  CurlTransfer(const CurlTransfer&) = delete;
  CurlTransfer& operator=(const CurlTransfer&) = delete;

  /// Host and port, as written in the address.
  const std::string& host() const { return _host; }
  /// True if the request does not change anything at the server.
  bool onlyFetches() const { return _request.httpMethod() == "GET"; }

  /// Sets all options of the request on the handle, and starts the timeout.
  void prepare(CURL* handle);
  /// True if the transfer ended because libcurl chose an unusable connection, before anything was sent on it. The
  /// handle can then continue the same request on another connection.
  bool prepareAgain();
  /// The earlier of two limits: the timeout since the last byte (once prepared), and the limit for the whole transfer.
  Clock::time_point deadline() const;
  /// Passes the result to the completion on a background queue. Only the first call has an effect.
  void complete(CURLcode result);
  void completeWithError(URLErrorCode code, std::string description);
  void cancel() { completeWithError(URLErrorCancelled, "cancelled"); }

 private:
  static std::size_t onBody(char* bytes, std::size_t size, std::size_t count, void* transfer);
  static std::size_t onHeader(char* bytes, std::size_t size, std::size_t count, void* transfer);
  static int onProgress(void* transfer, curl_off_t, curl_off_t received, curl_off_t, curl_off_t sent);
  static int onRequest(void* transfer, char* remoteAddress, char* localAddress, int remotePort, int localPort);

  /// False if the body would be too long, or if memory is short.
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
  std::shared_ptr<CurlConnections::Connection> _connection;  ///< libcurl chose it for the latest request
  long _redirectsLeft = 20;
  bool _isAwaitingAnswer = false;      ///< the request was passed to a connection, and no byte has come back yet
  bool _isConnectionUnusable = false;  ///< libcurl chose an unusable connection; prepareAgain() moves the request
  bool _isHeadComplete = false;        ///< the head of the latest response has been received
  bool _isTooLong = false;
  std::size_t _headLength = 0;  ///< bytes in the heads of all responses, including redirects
  Data _body;
};

}  // namespace oq
