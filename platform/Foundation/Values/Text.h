// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace oq {

/// The longest beginning of the text (UTF-8) that has at most `most` bytes and ends with a whole character.
inline std::string_view beginningOf(std::string_view text, std::size_t most) {
  if (text.size() <= most) return text;
  const auto isContinuation = [&](std::size_t at) { return (text[at] & 0xc0) == 0x80; };
  while (most > 0 && isContinuation(most)) --most;
  return text.substr(0, most);
}

/// Replaces each occurrence of `what` by `with`. `what` must not be empty.
inline std::string replacingAll(std::string text, std::string_view what, std::string_view with) {
  for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += with.size()) {
    text.replace(at, what.size(), with);
  }
  return text;
}

}  // namespace oq
