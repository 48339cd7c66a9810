// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "Foundation/Networking/URL.h"
#include "Foundation/Networking/URLSession.h"
#include "Foundation/Values/Data.h"
#include "Foundation/Values/Error.h"
#include "Foundation/Values/JSONValue.h"
#include "UIKit/Painting/UIImage.h"

namespace oq {

/// The domain of the library's own errors.
inline constexpr const char* OQErrorDomain = "OQErrorDomain";

/// The library's HTTP client. It sends each request to a path on the server of the environment that is stored at that
/// moment, and passes on the raw answer. It does not interpret the bodies of answers.
///
/// Threads: any thread may call. The functions that get the results ("blocks") run on the URL session's background
/// queue, but a cached picture, or the error for a missing address, is passed on before downloadImageWithURL() returns.
/// A block that uses views must switch to the main queue. Ownership: a client may be released immediately; its requests
/// continue and keep their blocks until they end. Failure: of the success block and the failure block of a request,
/// exactly one runs, once. Nothing is retried. While consent is missing (OQConsent), every request and every picture
/// fails on a background queue with an error of OQErrorDomain, also those that are under way.
class OQNetwork {
 public:
  /// Called for every answer, including 4xx and 5xx. The caller checks the status code.
  using SuccessBlock = std::function<void(const URLResponse& response, const Data& data)>;
  using FailureBlock = std::function<void(const Error& error)>;
  /// The image is nullptr if the bytes are not a picture or an error occurred. `finished` is always true.
  using ImageCompletion = std::function<void(std::shared_ptr<const UIImage> image, const Data& data,
                                             const std::optional<Error>& error, bool finished)>;

  /// Despite its name, each call returns a new client with its own session.
  static std::shared_ptr<OQNetwork> randomNetwork();
  OQNetwork();

  /// POST with a JSON body. `header` is a dictionary of strings, or null.
  void postRequestWithRelativeURLStr(const std::string& path, const JSONValue& header, const JSONValue& body,
                                     SuccessBlock success, FailureBlock failure);
  void getRequestWithRelativeURLStr(const std::string& path, const JSONValue& parameters, SuccessBlock success,
                                    FailureBlock failure);
  /// `type` 0 is GET and 1 is POST; any other value sets no method, so it is GET. A dictionary is sent as a JSON body;
  /// null, numbers, booleans and arrays mean that there is no body. Throws Exception "NSInvalidArgumentException" if
  /// the body is a string: it counts as a body, but the JSON writer refuses it. Either block may be empty.
  void requestWithRelativeUrl(const std::string& path, std::uint64_t type, const JSONValue& parameters,
                              const JSONValue& header, const JSONValue& body, SuccessBlock success,
                              FailureBlock failure);

  /// The address of a path on the server of the stored environment; nullopt if the result is not a URL. The keys and
  /// values of `parameters` become the query, without escaping, in the order of the dictionary.
  std::optional<URL> getHttpURLWithRelativeUrl(const std::string& path, const JSONValue& parameters) const;
  /// The body in the form of a query; nullopt for anything but strings and dictionaries. Only whether there is a value
  /// matters: the string itself is never sent.
  std::optional<std::string> httpRequestBody(const JSONValue& body) const;

  /// Loads a picture from the disk cache, or else from the network and stores it in the cache. The completion may be
  /// empty and is called exactly once. Errors are logged and not cached.
  void downloadImageWithURL(const std::optional<URL>& url, ImageCompletion completion);

  /// Cancels the requests and pictures that are under way, of all clients. They fail as if the connection had failed.
  static void cancelAll();

  std::shared_ptr<URLSession> session() const { return _session; }

 private:
  void _send(URLRequest request, URLCompletion completion);
  void _fetchImage(const URL& url, ImageCompletion completion);

  const std::shared_ptr<URLSession> _session;
};

}  // namespace oq
