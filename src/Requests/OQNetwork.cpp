// SPDX-License-Identifier: Apache-2.0
#include "Requests/OQNetwork.h"

#include <utility>

#include "Dispatch/DispatchQueue.h"
#include "Foundation/Values/Format.h"
#include "Foundation/Values/JSONSerialization.h"
#include "Requests/OQServerAddress.h"
#include "Storage/OQImageDiskCache.h"
#include "Utils/OQConsent.h"
#include "Utils/OQGuard.h"
#include "Utils/OQLogger.h"

namespace oq {

namespace {

constexpr double requestTimeout = 30.0;
constexpr std::int64_t nilImageURLCode = 1000;
constexpr std::int64_t consentMissingCode = 1001;

Error consentMissing() {
  return {OQErrorDomain, consentMissingCode, "The user's consent is missing"};
}

std::string queryFromDictionary(const JSONValue& dictionary) {
  std::string query;
  if (!dictionary.is_object()) return query;
  for (const auto& [key, value] : dictionary.get_object()) {
    if (!query.empty()) query += '&';
    query += stringWithFormat("%@=%@", std::string_view(key), value);
  }
  return query;
}

/// Whether a request with this value has a body. Intentional: a string counts as a body, although bodies are always
/// sent as JSON and the JSON writer refuses a string.
bool isRequestBody(const JSONValue& body) {
  return body.is_string() || body.is_object();
}

void setHeader(URLRequest& request, const JSONValue& header) {
  if (header.is_object()) {
    for (const auto& [field, value] : header.get_object()) {
      request.setValueForHTTPHeaderField(descriptionOf(value), std::string(field));
    }
  }
  request.setValueForHTTPHeaderField("application/json", "Content-Type");
}

}  // namespace

std::shared_ptr<OQNetwork> OQNetwork::randomNetwork() {
  return std::make_shared<OQNetwork>();
}

OQNetwork::OQNetwork()
    : _session(URLSession::sessionWithConfiguration(URLSessionConfiguration::defaultSessionConfiguration())) {}

void OQNetwork::postRequestWithRelativeURLStr(const std::string& path, const JSONValue& header, const JSONValue& body,
                                              SuccessBlock success, FailureBlock failure) {
  requestWithRelativeUrl(path, 1, nullptr, header, body, std::move(success), std::move(failure));
}

void OQNetwork::getRequestWithRelativeURLStr(const std::string& path, const JSONValue& parameters, SuccessBlock success,
                                             FailureBlock failure) {
  requestWithRelativeUrl(path, 0, parameters, nullptr, nullptr, std::move(success), std::move(failure));
}

void OQNetwork::requestWithRelativeUrl(const std::string& path, std::uint64_t type, const JSONValue& parameters,
                                       const JSONValue& header, const JSONValue& body, SuccessBlock success,
                                       FailureBlock failure) {
  if (OQConsent::isMissing()) {
    if (failure) DispatchQueue::background().async([failure = std::move(failure)] { failure(consentMissing()); });
    return;
  }
  URLRequest request(getHttpURLWithRelativeUrl(path, parameters), URLRequestCachePolicy::ReloadIgnoringLocalCacheData,
                     requestTimeout);
  if (type == 0) request.setHTTPMethod("GET");
  if (type == 1) request.setHTTPMethod("POST");
  setHeader(request, header);
  if (isRequestBody(body)) request.setHTTPBody(dataWithJSONObject(body));

  const std::optional<URL>& url = request.url();
  OQLogger::log("请求URL：%@\n参数：%@", url ? std::optional(url->absoluteString()) : std::nullopt, body);

  auto completion = [success = std::move(success), failure = std::move(failure)](
                        const Data& data, const std::optional<URLResponse>& response,
                        const std::optional<Error>& error) {
    if (error) {
      if (failure) failure(*error);
    } else if (success && response) {
      success(*response, data);
    }
  };
  _send(std::move(request), std::move(completion));
}

void OQNetwork::_send(URLRequest request, URLCompletion completion) {
  auto completed = [completion = std::move(completion)](const Data& data, const std::optional<URLResponse>& response,
                                                        const std::optional<Error>& error) {
    // An answer that arrives after consent was withdrawn must not be used.
    if (!OQConsent::isMissing()) return completion(data, response, error);
    completion({}, std::nullopt, consentMissing());
  };
  _session->dataTaskWithRequest(std::move(request), std::move(completed))->resume();
  // If another thread withdrew consent after the check at the start of this request, its call of cancelAll() may have
  // come too early for this request.
  if (OQConsent::isMissing()) cancelAll();
}

void OQNetwork::cancelAll() {
  URLSession::cancelAllTasks();
}

std::optional<URL> OQNetwork::getHttpURLWithRelativeUrl(const std::string& path, const JSONValue& parameters) const {
  const std::string query = queryFromDictionary(parameters);
  const std::string pathAndQuery = query.empty() ? path : stringWithFormat("%@?%@", path, query);
  return URL::withString(stringWithFormat("%@%@", OQServerAddress::current(), pathAndQuery));
}

std::optional<std::string> OQNetwork::httpRequestBody(const JSONValue& body) const {
  if (!isRequestBody(body)) return std::nullopt;
  return body.is_string() ? std::string(body.get_string()) : queryFromDictionary(body);
}

void OQNetwork::downloadImageWithURL(const std::optional<URL>& url, ImageCompletion completion) {
  if (!url) {
    const Error error{OQErrorDomain, nilImageURLCode, "Image url is nil"};
    if (completion) completion(nullptr, {}, error, true);
    OQLogger::error(error);
    return;
  }
  if (OQConsent::isMissing()) {
    if (!completion) return;
    DispatchQueue::background().async(
        [completion = std::move(completion)] { completion(nullptr, {}, consentMissing(), true); });
    return;
  }
  const std::string& key = url->absoluteString();
  OQImageDiskCache& cache = OQImageDiskCache::cache();
  std::optional<Data> cached = cache.imageDataForKey(key);
  if (!cached) {
    _fetchImage(*url, std::move(completion));
    return;
  }
  // Without a completion the picture is only cached, so it need not be decoded.
  if (completion) completion(UIImage::imageWithData(*cached), *cached, std::nullopt, true);
}

void OQNetwork::_fetchImage(const URL& url, ImageCompletion completion) {
  URLRequest request(url, URLRequestCachePolicy::ReloadIgnoringLocalAndRemoteCacheData, requestTimeout);
  auto ended = [key = url.absoluteString(), completion = std::move(completion)](
                   const Data& data, const std::optional<URLResponse>&, const std::optional<Error>& error) {
    guarded([&] {
      if (error) {
        if (completion) completion(nullptr, {}, error, true);
        OQLogger::error(*error);
        return;
      }
      const auto image = completion ? UIImage::imageWithData(data) : nullptr;
      if (completion) completion(image, data, std::nullopt, true);
      // Bytes that are not a picture at all are cached; this is intentional. A truncated picture counts as a failed
      // download: in the cache it would hide the complete one for days.
      if (image ? image->surface() != nullptr : !UIImage::isBroken(data))
        OQImageDiskCache::cache().setImageData(data, key);
    });
  };
  _send(std::move(request), std::move(ended));
}

}  // namespace oq
