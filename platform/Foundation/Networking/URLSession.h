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

class URLRequest {
 public:
  explicit URLRequest(std::optional<URL> url,
                      URLRequestCachePolicy policy = URLRequestCachePolicy::UseProtocolCachePolicy,
                      double timeoutInterval = 60.0)
      : _url(std::move(url)), _cachePolicy(policy), _timeoutInterval(timeoutInterval) {}

  const std::optional<URL>& url() const { return _url; }
  URLRequestCachePolicy cachePolicy() const { return _cachePolicy; }
  /// Seconds without a byte until the request fails.
  double timeoutInterval() const { return _timeoutInterval; }

  void setHTTPMethod(std::string method) { _method = std::move(method); }
  const std::string& httpMethod() const { return _method; }

  /// Replaces an earlier value of the same field; names compare without regard to case.
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
};

/// The standard text of an HTTP status code, in lower case as a person would read it ("not found").
std::string localizedStringForStatusCode(std::int64_t statusCode);

/// Exactly one of response and error is present; data may be empty.
using URLCompletion = std::function<void(const Data& data, const std::optional<URLResponse>& response,
                                         const std::optional<Error>& error)>;

/// What carries requests. The real one is libcurl; a test may put another in its place.
class URLTransport {
 public:
  virtual ~URLTransport() = default;
  /// Sends the request at most once and calls the completion exactly once, on a background thread.
  virtual void perform(URLRequest request, URLCompletion completion) = 0;
};

/// nullptr gives the real transport back. Tasks that run already are not affected. Any thread.
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

/// A session of its own for each client on the surface; connections and TLS sessions are shared by all
/// underneath. HTTPS only: any other address fails with URLErrorUnsupportedURL. A request is sent at most
/// once. If its connection ends before the answer, the task fails with URLErrorNetworkConnectionLost; a kept
/// connection that has ended before the request is replaced first. Completions run on a background queue, side by side
/// and in no promised order. A request without a URL fails with URLErrorUnsupportedURL before the network. Redirects:
/// at most 20, HTTPS only, a refused one is a failure. An answer of more than 64 MiB, after decompression, is a
/// failure, and takes no more memory than that meanwhile. No cookies. Certificates are checked against the system's and
/// those of the file named by SSL_CERT_FILE.
class URLSession {
 public:
  static std::shared_ptr<URLSession> sessionWithConfiguration(const URLSessionConfiguration& configuration);
  std::shared_ptr<URLSessionDataTask> dataTaskWithRequest(URLRequest request, URLCompletion completion);
};

}  // namespace oq
