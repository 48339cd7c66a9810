#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "Foundation/Networking/URLSession.h"

namespace oq::test {

/// Answers each request before it returns, on the thread that brings it, and keeps nothing. Any thread.
class ImmediateTransport : public URLTransport {
 public:
  /// The body for a path; without one the server cannot be reached.
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
