#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace oq {

bool isASCII(std::string_view text);
/// Bytes that are not UTF-8 become U+FFFD.
std::u16string utf16FromUTF8(std::string_view text);
/// nullopt for half of a surrogate pair.
std::optional<std::string> utf8FromUTF16(std::u16string_view text);

}  // namespace oq
