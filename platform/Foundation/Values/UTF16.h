// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace oq {

bool isASCII(std::string_view text);
/// Invalid UTF-8 becomes U+FFFD.
std::u16string utf16FromUTF8(std::string_view text);
/// nullopt for an unpaired surrogate.
std::optional<std::string> utf8FromUTF16(std::u16string_view text);

}  // namespace oq
