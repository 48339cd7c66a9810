// SPDX-License-Identifier: Apache-2.0
#include "Foundation/Values/UTF16.h"

#include <glib.h>

#include <algorithm>

namespace oq {
namespace {

constexpr gunichar kReplacement = 0xFFFD;

bool isHighSurrogate(char16_t unit) {
  return unit >= 0xD800 && unit < 0xDC00;
}
bool isLowSurrogate(char16_t unit) {
  return unit >= 0xDC00 && unit < 0xE000;
}

/// Removes and returns the first character of the string.
gunichar takeCharacter(std::string_view& text) {
  if (text.front() == '\0') {  // GLib would treat it as an error
    text.remove_prefix(1);
    return 0;
  }
  gunichar character = g_utf8_get_char_validated(text.data(), static_cast<gssize>(text.size()));
  bool valid = character < 0x110000;
  text.remove_prefix(valid ? static_cast<std::size_t>(g_utf8_skip[static_cast<guchar>(text.front())]) : 1);
  return valid ? character : kReplacement;
}

}  // namespace

bool isASCII(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

std::u16string utf16FromUTF8(std::string_view text) {
  std::u16string units;
  units.reserve(text.size());
  while (!text.empty()) {
    gunichar character = takeCharacter(text);
    if (character < 0x10000) {
      units.push_back(static_cast<char16_t>(character));
    } else {
      units.push_back(static_cast<char16_t>(0xD7C0 + (character >> 10)));
      units.push_back(static_cast<char16_t>(0xDC00 + (character & 0x3FF)));
    }
  }
  return units;
}

std::optional<std::string> utf8FromUTF16(std::u16string_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    gunichar character = text[i];
    if (isLowSurrogate(text[i])) return std::nullopt;
    if (isHighSurrogate(text[i])) {
      if (++i == text.size() || !isLowSurrogate(text[i])) return std::nullopt;
      character = ((character - 0xD7C0) << 10) + (text[i] - 0xDC00u);
    }
    char bytes[6];
    result.append(bytes, static_cast<std::size_t>(g_unichar_to_utf8(character, bytes)));
  }
  return result;
}

}  // namespace oq
