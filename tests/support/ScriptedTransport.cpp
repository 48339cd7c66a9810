// SPDX-License-Identifier: Apache-2.0
#include "support/ScriptedTransport.h"

#include <chrono>
#include <utility>

#include "Foundation/Values/JSONSerialization.h"

namespace oq::test {

namespace {

std::string pathOf(const std::string& url) {
  const std::size_t server = url.find("://");
  const std::size_t begin = url.find('/', server == std::string::npos ? 0 : server + 3);
  if (begin == std::string::npos) return url;
  return url.substr(begin, url.find('?', begin) - begin);
}

ScriptedTransport::Request recorded(const URLRequest& request) {
  ScriptedTransport::Request record;
  record.url = request.url() ? request.url()->absoluteString() : "";
  record.path = pathOf(record.url);
  record.method = request.httpMethod();
  record.headers.insert(request.headerFields().begin(), request.headerFields().end());
  if (request.httpBody()) {
    record.body = stringFromData(*request.httpBody());
    record.json = valueWithJSONData(*request.httpBody()).value_or(JSONValue());
  }
  record.cachePolicy = request.cachePolicy();
  record.timeout = request.timeoutInterval();
  return record;
}

}  // namespace

std::vector<ScriptedTransport::Request> ScriptedTransport::requests(const std::string& path) const {
  std::lock_guard lock(_mutex);
  std::vector<Request> found;
  for (const Request& request : _requests) {
    if (path.empty() || request.path == path) found.push_back(request);
  }
  return found;
}

bool ScriptedTransport::settle() {
  std::unique_lock lock(_mutex);
  return _quiet.wait_for(lock, std::chrono::seconds(60), [this] { return _underWay == 0; });
}

void ScriptedTransport::perform(URLRequest request, URLCompletion completion) {
  Request record = recorded(request);
  Script script;
  {
    std::lock_guard lock(_mutex);
    ++_underWay;
    _requests.push_back(record);
    if (auto known = _scripts.find(record.path); known != _scripts.end()) script = known->second;
  }
  _queue->async([this, record = std::move(record), script = std::move(script),
                 completion = std::move(completion)]() mutable {
    const Answer answer = script ? script(record) : Answer{};
    if (answer.error) {
      completion({}, std::nullopt, answer.error);
    } else {
      completion(dataFromString(answer.body), URLResponse{answer.status, record.url, answer.retryAfter}, std::nullopt);
    }
    completion = nullptr;
    std::lock_guard lock(_mutex);
    if (--_underWay == 0) _quiet.notify_all();
  });
}

}  // namespace oq::test
