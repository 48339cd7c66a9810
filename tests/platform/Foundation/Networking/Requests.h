// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "Foundation/Networking/URLSession.h"

/// Helpers for requests through URL sessions and their results.
namespace oq::test {

/// The result of a request. Contains neither a long body nor an error description, because some tests that create it
/// measure how much memory the process uses.
struct Outcome {
  std::size_t length = 0;
  std::string text;  ///< only if the body has at most 1000 bytes
  std::int64_t status = 0;
  std::string url;
  std::int64_t retryAfter = 0;
  std::int64_t errorCode = 0;  ///< 0 for a response
};

/// The real transport, unless the test sets another one.
class TransportTest : public testing::Test {
 protected:
  ~TransportTest() override { setURLTransport(nullptr); }
};

inline URLRequest post(const std::string& address, const std::string& body = "{}", double timeout = 20) {
  URLRequest request(URL::withString(address), URLRequestCachePolicy::ReloadIgnoringLocalCacheData, timeout);
  request.setHTTPMethod("POST");
  request.setValueForHTTPHeaderField("application/json", "Content-Type");
  request.setHTTPBody(dataFromString(body));
  return request;
}

inline URLRequest get(const std::string& address, double timeout = 20) {
  return URLRequest(URL::withString(address), URLRequestCachePolicy::UseProtocolCachePolicy, timeout);
}

inline std::future<Outcome> start(URLRequest request) {
  auto promise = std::make_shared<std::promise<Outcome>>();
  auto completion = [promise](const Data& data, const std::optional<URLResponse>& response,
                              const std::optional<Error>& error) {
    EXPECT_NE(response.has_value(), error.has_value());
    if (error) {
      EXPECT_EQ(error->domain, URLErrorDomain);
      EXPECT_NE(error->localizedDescription, "");
    }
    Outcome outcome;
    outcome.length = data.size();
    if (data.size() <= 1000) outcome.text = stringFromData(data);
    if (response) {
      outcome.status = response->statusCode, outcome.url = response->url;
      outcome.retryAfter = response->retryAfter;
    }
    if (error) outcome.errorCode = error->code;
    promise->set_value(std::move(outcome));  // throws if the completion is called twice
  };
  auto session = URLSession::sessionWithConfiguration(URLSessionConfiguration::defaultSessionConfiguration());
  auto task = session->dataTaskWithRequest(std::move(request), completion);
  task->resume();
  task->resume();
  return promise->get_future();
}

inline Outcome outcomeOf(std::future<Outcome> future) {
  bool isDone = future.wait_for(std::chrono::seconds(60)) == std::future_status::ready;
  EXPECT_TRUE(isDone) << "no completion";
  return isDone ? future.get() : Outcome{};
}

inline Outcome perform(URLRequest request) {
  return outcomeOf(start(std::move(request)));
}

}  // namespace oq::test
