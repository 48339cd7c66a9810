// SPDX-License-Identifier: Apache-2.0
#include "Foundation/Networking/URLSession.h"

#include <strings.h>

#include <algorithm>
#include <utility>

#include "Dispatch/DispatchQueue.h"
#include "Foundation/Networking/CurlTransport.h"
#include "Foundation/Networking/URLCompletion.h"

namespace oq {

namespace {

/// Never destroyed: a request may end while the process exits.
struct TransportSlot {
  std::mutex mutex;
  std::shared_ptr<URLTransport> transport;
};

TransportSlot& transportSlot() {
  static auto* slot = new TransportSlot;
  return *slot;
}

std::shared_ptr<URLTransport> currentTransport() {
  auto& slot = transportSlot();
  std::lock_guard lock(slot.mutex);
  return slot.transport ? slot.transport : CurlTransport::shared();
}

DispatchQueue& completionQueue() {
  static auto* queue = new std::shared_ptr<DispatchQueue>(DispatchQueue::concurrent("oq.urlsession"));
  return **queue;
}

}  // namespace

void succeed(URLCompletion completion, Data data, URLResponse response) {
  if (!completion) return;
  auto shared =
      std::make_shared<const Data>(std::move(data));  // a block may be copied; a response of megabytes must not be
  completionQueue().async([completion = std::move(completion), shared, response = std::move(response)] {
    completion(*shared, response, std::nullopt);
  });
}

void fail(URLCompletion completion, URLErrorCode code, std::string description) {
  if (!completion) return;
  Error error{URLErrorDomain, code, std::move(description)};
  completionQueue().async(
      [completion = std::move(completion), error = std::move(error)] { completion({}, std::nullopt, error); });
}

void URLRequest::setValueForHTTPHeaderField(std::string value, std::string field) {
  auto known = std::find_if(_headerFields.begin(), _headerFields.end(),
                            [&](const auto& entry) { return strcasecmp(entry.first.c_str(), field.c_str()) == 0; });
  if (known != _headerFields.end()) {
    known->second = std::move(value);
  } else {
    _headerFields.emplace_back(std::move(field), std::move(value));
  }
}

void setURLTransport(std::shared_ptr<URLTransport> transport) {
  auto& slot = transportSlot();
  std::lock_guard lock(slot.mutex);
  slot.transport.swap(transport);  // the old transport is released after the lock
}

void URLSessionDataTask::resume() {
  {
    std::lock_guard lock(_mutex);
    if (std::exchange(_started, true)) return;
  }
  auto completion = std::exchange(_completion, nullptr);
  // Plain HTTP is refused as well: every request contains a user's identifier.
  bool isSupported = _request.url() && _request.url()->scheme() == "https";
  if (!isSupported) return fail(std::move(completion), URLErrorUnsupportedURL, "unsupported URL");
  currentTransport()->perform(std::move(_request), std::move(completion));
}

std::shared_ptr<URLSession> URLSession::sessionWithConfiguration(const URLSessionConfiguration&) {
  return std::make_shared<URLSession>();
}

void URLSession::cancelAllTasks() {
  currentTransport()->cancelAll();
}

std::shared_ptr<URLSessionDataTask> URLSession::dataTaskWithRequest(URLRequest request, URLCompletion completion) {
  return std::make_shared<URLSessionDataTask>(std::move(request), std::move(completion));
}

}  // namespace oq
