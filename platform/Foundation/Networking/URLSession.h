// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Foundation/Networking/URL.h"
#include "Foundation/Values/Data.h"
#include "Foundation/Values/Error.h"

namespace oq {

enum class URLRequestCachePolicy : std::uint64_t {
  UseProtocolCachePolicy = 0,
  ReloadIgnoringLocalCacheData = 1,           ///< adds no header: nothing is cached locally
  ReloadIgnoringLocalAndRemoteCacheData = 4,  ///< adds "Cache-Control: no-cache"
};

;

class URLRequest {
 public:
  explicit URLRequest(std::optional<URL> url,
                      URLRequestCachePolicy policy = URLRequestCachePolicy::UseProtocolCachePolicy,
                      double timeoutInterval = 60.0)
      : _url(std::move(url)), _cachePolicy(policy), _timeoutInterval(timeoutInterval) {}

  const std::optional<URL>& url() const { return _url; }
  URLRequestCachePolicy cachePolicy() const { return _cachePolicy; }
  /// Seconds without a byte after which the request fails; at most one day. 0 or less means 60 seconds.
  double timeoutInterval() const { return _timeoutInterval; }

  void setHTTPMethod(std::string method) { _method = std::move(method); }
  const std::string& httpMethod() const { return _method; }

  /// Replaces an earlier value of the same field; names are case-insensitive.
  void setValueForHTTPHeaderField(std::string value, std::string field);
  const std::vector<std::pair<std::string, std::string>>& headerFields() const { return _headerFields; }

  void setHTTPBody(Data body) { _body = std::move(body); }
  const std::optional<Data>& httpBody() const { return _body; }

 private:
  std::optional<URL> _url;
  URLRequestCachePolicy _cachePolicy;
  double _timeoutInterval;
  std::string _method = "GET";
  std::vector<std::pair<std::string, std::string>> _headerFields;
  std::optional<Data> _body;
};

struct URLResponse {
  std::int64_t statusCode = 0;
  std::string url;
  /// How many seconds the client should wait before its next request, from the field Retry-After (seconds or a date). 0
  /// if the response has no such field.
  std::int64_t retryAfter = 0;
};

/// The standard phrase for an HTTP status code, in lower case for display ("not found").
std::string localizedStringForStatusCode(std::int64_t statusCode);

/// Exactly one of response and error is present; data may be empty.
using URLCompletion = std::function<void(const Data& data, const std::optional<URLResponse>& response,
                                         const std::optional<Error>& error)>;

/// Performs the requests. The real one uses libcurl; a test may install another.
class URLTransport {
 public:
  virtual ~URLTransport() = default;
  /// Sends the request at most once and calls the completion exactly once, on a background thread.
  virtual void perform(URLRequest request, URLCompletion completion) = 0;
  /// Ends all requests that are under way with URLErrorCancelled. Requests that have ended are not affected.
  virtual void cancelAll() {}
};

/// nullptr restores the real transport. Tasks that are running are not affected. Thread-safe.
void setURLTransport(std::shared_ptr<URLTransport> transport);

struct URLSessionConfiguration {
  static URLSessionConfiguration defaultSessionConfiguration() { return {}; }
  bool allowsCellularAccess = true;
};

class URLSessionDataTask {
 public:
  URLSessionDataTask(URLRequest request, URLCompletion completion)
      : _request(std::move(request)), _completion(std::move(completion)) {}
  /// Starts the task; a second call does nothing.
  void resume();

 private:
  std::mutex _mutex;
  URLRequest _request;
  URLCompletion _completion;
  bool _started = false;
};

/// Each client has its own session; all sessions share connections and TLS sessions. Only HTTPS is supported: a request
/// with any other address, or without an address, fails with URLErrorUnsupportedURL before the network is used. A
/// request is sent at most once. If its connection ends before the response, the task fails with
/// URLErrorNetworkConnectionLost. A kept connection that has already ended is replaced before the request is sent.
/// Completions run on a background queue, in parallel and in no particular order. At most 20 redirects are followed,
/// and only to HTTPS addresses; any other redirect is a failure. A response of more than 64 MiB after decompression is
/// a failure, and never takes more memory than that. Cookies are not supported. Certificates are checked against the
/// system's authorities and those in the file named by SSL_CERT_FILE.
class URLSession {
 public:
  static std::shared_ptr<URLSession> sessionWithConfiguration(const URLSessionConfiguration& configuration);
  /// Cancels the running tasks of all sessions: each fails with URLErrorCancelled, unless it has already ended. Their
  /// connections are closed. Later tasks are not affected. Thread-safe; does not wait.
  static void cancelAllTasks();
  std::shared_ptr<URLSessionDataTask> dataTaskWithRequest(URLRequest request, URLCompletion completion);
};

}  // namespace oq
