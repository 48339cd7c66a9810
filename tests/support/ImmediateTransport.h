// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "Foundation/Networking/URLSession.h"

namespace oq::test {

/// Answers each request before perform() returns, on the calling thread, and records nothing. Any thread may use it.
class ImmediateTransport : public URLTransport {
 public:
  /// Returns the response body for a path; nullopt means that the connection is refused.
  using Answers = std::function<std::optional<std::string>(const std::string& path)>;
  explicit ImmediateTransport(Answers answers) : _answers(std::move(answers)) {}

  void perform(URLRequest request, URLCompletion completion) override {
    const std::string url = request.url()->absoluteString();
    if (const auto body = _answers(url.substr(url.find('/', url.find("://") + 3)))) {
      completion(dataFromString(*body), URLResponse{200, url}, std::nullopt);
    } else {
      completion({}, std::nullopt, Error{URLErrorDomain, -1004, "refused"});
    }
  }

 private:
  const Answers _answers;
};

}  // namespace oq::test
