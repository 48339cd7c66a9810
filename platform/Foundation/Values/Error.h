// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "oqsdk/TypeEncoding.h"

namespace oq {

/// An error as a value: its domain, its code in that domain, and a description for people.
struct Error {
  std::string domain;
  std::int64_t code = 0;
  std::string localizedDescription;
};

template <>
struct TypeEncoding<std::optional<Error>> {
  static constexpr std::string_view text = "{optional<Error>}";
};

/// The error domain of URL sessions; its codes are below.
inline constexpr const char* URLErrorDomain = "NSURLErrorDomain";
enum URLErrorCode : std::int64_t {
  URLErrorUnknown = -1,
  URLErrorCancelled = -999,
  URLErrorBadURL = -1000,
  URLErrorTimedOut = -1001,
  URLErrorUnsupportedURL = -1002,
  URLErrorCannotFindHost = -1003,
  URLErrorCannotConnectToHost = -1004,
  URLErrorNetworkConnectionLost = -1005,
  URLErrorHTTPTooManyRedirects = -1007,
  URLErrorBadServerResponse = -1011,
  URLErrorSecureConnectionFailed = -1200,
  URLErrorServerCertificateUntrusted = -1202,
};

}  // namespace oq
