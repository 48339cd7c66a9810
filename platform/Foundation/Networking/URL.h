#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace oq {

/// An address. Only what RFC 3986 allows to stand in one can become a URL; what was given is what it says.
class URL {
 public:
  /// nullopt for an empty text or one with characters that no URL has.
  static std::optional<URL> withString(std::string_view text);

  const std::string& absoluteString() const { return _text; }
  /// In lower case, without the colon; empty for a relative address.
  std::string scheme() const;

  bool operator==(const URL&) const = default;

 private:
  explicit URL(std::string text) : _text(std::move(text)) {}
  std::string _text;
};

}  // namespace oq
