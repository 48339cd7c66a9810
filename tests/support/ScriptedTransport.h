// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Dispatch/DispatchQueue.h"
#include "Foundation/Networking/URLSession.h"
#include "Foundation/Values/JSONValue.h"

namespace oq::test {

/// Replaces the network: records every request and answers it from a script, on its own queue. Without a script the
/// response is {"code":0}. Any thread may use it.
class ScriptedTransport : public URLTransport {
 public:
  struct Request {
    std::string url;
    std::string path;  ///< without server and query
    std::string method;
    std::map<std::string, std::string> headers;
    std::string body;
    JSONValue json;  ///< the parsed body; null when it is not JSON
    URLRequestCachePolicy cachePolicy{};
    double timeout = 0;
  };
  struct Answer {
    std::string body = R"({"code":0})";
    std::int64_t status = 200;
    std::optional<Error> error = std::nullopt;
    std::int64_t retryAfter = 0;
  };
  /// Runs on the transport's queue, and may block there.
  using Script = std::function<Answer(const Request&)>;

  /// A serial queue answers the requests in order, a concurrent one in parallel.
  explicit ScriptedTransport(std::shared_ptr<DispatchQueue> queue = DispatchQueue::serial("test.network"))
      : _queue(std::move(queue)) {}

  void answer(const std::string& path, std::string body, std::int64_t status = 200) {
    script(path, [body = std::move(body), status](const Request&) { return Answer{body, status}; });
  }
  void fail(const std::string& path, Error error) {
    script(path, [error = std::move(error)](const Request&) { return Answer{"", 0, error}; });
  }
  void script(const std::string& path, Script script) {
    std::lock_guard lock(_mutex);
    _scripts[path] = std::move(script);
  }

  /// The requests so far, in order; with a path, only the requests for that path.
  std::vector<Request> requests(const std::string& path = "") const;
  /// Waits until all requests are answered, including new ones that responses cause. Returns false after a minute.
  bool settle();

  void perform(URLRequest request, URLCompletion completion) override;

 private:
  mutable std::mutex _mutex;
  std::condition_variable _quiet;
  std::map<std::string, Script> _scripts;
  std::vector<Request> _requests;
  int _underWay = 0;
  const std::shared_ptr<DispatchQueue> _queue;
};

}  // namespace oq::test
