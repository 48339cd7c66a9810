#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Foundation/Networking/URL.h"
#include "Foundation/Networking/URLSession.h"
#include "Foundation/Values/Data.h"
#include "Foundation/Values/Error.h"
#include "Foundation/Values/JSONValue.h"
#include "UIKit/Painting/UIImage.h"

namespace oq {

/// The domain of the library's own errors.
inline constexpr const char* OQErrorDomain = "OQErrorDomain";

/// The one HTTP client of the library: turns a relative path into a request against the server of the
/// environment that is stored at that moment, and hands the raw answer back. Knows nothing of what the bodies
/// mean.
///
/// Threads: any thread may call; the blocks run on the URL session's background queue, except that a picture
/// that is in the cache is handed over before downloadImageWithURL() returns. Whoever touches views hops to
/// the main queue. Ownership: a client may be dropped at once; requests under way go on and keep their blocks
/// until they end. Failure: exactly one of the two blocks runs, once. Nothing is retried.
class OQNetwork {
 public:
  /// Any answer that arrived, 4xx and 5xx included: the status code is the caller's to judge.
  using SuccessBlock = std::function<void(const URLResponse& response, const Data& data)>;
  using FailureBlock = std::function<void(const Error& error)>;
  /// The image is nullptr when the bytes are no picture or when there is an error. `finished` is always true.
  using ImageCompletion = std::function<void(std::shared_ptr<const UIImage> image, const Data& data,
                                             const std::optional<Error>& error, bool finished)>;

  /// A new client with a session of its own at every call, whatever the name says.
  static std::shared_ptr<OQNetwork> randomNetwork();
  OQNetwork();

  /// POST with a JSON body. `header` is a dictionary of strings, or null.
  void postRequestWithRelativeURLStr(const std::string& path, const JSONValue& header, const JSONValue& body,
                                     SuccessBlock success, FailureBlock failure);
  void getRequestWithRelativeURLStr(const std::string& path, const JSONValue& parameters, SuccessBlock success,
                                    FailureBlock failure);
  /// `type` 0 is GET and 1 is POST; any other sets no method, which leaves GET. A body that is a string
  /// passes the test for presence and is then refused by the JSON writer: throws Exception
  /// "NSInvalidArgumentException". Null and dictionary bodies never throw. Either block may be empty.
  void requestWithRelativeUrl(const std::string& path, std::uint64_t type, const JSONValue& parameters,
                              const JSONValue& header, const JSONValue& body, SuccessBlock success,
                              FailureBlock failure);

  /// The address of a path on the current server; nullopt when that is not the text of a URL. Keys and values
  /// are inserted as they are, without escapes, in the order of the dictionary.
  std::optional<URL> getHttpURLWithRelativeUrl(const std::string& path, const JSONValue& parameters) const;
  /// Whether there is a body, and its form as a query; nullopt for anything but strings and dictionaries. The
  /// text itself is never sent.
  std::optional<std::string> httpRequestBody(const JSONValue& body) const;

  /// A picture from the disk cache, else from the network, which is then cached. The completion may be empty
  /// and is called exactly once. Errors are logged and not cached.
  void downloadImageWithURL(const std::optional<URL>& url, ImageCompletion completion);

  std::shared_ptr<URLSession> session() const { return _session; }

 private:
  void _fetchImage(const URL& url, ImageCompletion completion);

  const std::shared_ptr<URLSession> _session;
};

}  // namespace oq
