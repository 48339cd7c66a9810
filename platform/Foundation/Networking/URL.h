// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace oq {

/// A URL as defined by RFC 3986, stored as given.
class URL {
 public:
  /// nullopt for an empty string or one with characters that RFC 3986 does not allow.
  static std::optional<URL> withString(std::string_view text);

  const std::string& absoluteString() const { return _text; }
  /// In lower case, without the colon; empty for a relative address.
  std::string scheme() const;

  struct Parts {
    std::string host;
    std::optional<int> port;
    std::string path;  ///< escaped as in the address
    bool hasUser = false;
    bool hasQuery = false;
    bool hasFragment = false;
  };
  /// nullopt if the address does not have the form of RFC 3986, or if the port is not between 1 and 65535.
  std::optional<Parts> parts() const;

  bool operator==(const URL&) const = default;

 private:
  explicit URL(std::string text) : _text(std::move(text)) {}
  std::string _text;
};

}  // namespace oq
