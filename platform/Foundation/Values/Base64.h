// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Foundation/Values/Data.h"

namespace oq {

/// Standard alphabet, with padding, without line breaks.
std::string base64EncodedString(const Data& data);
/// Ignores characters outside the alphabet; nullopt if the rest is not base64.
std::optional<Data> dataWithBase64(std::string_view text);
bool isValidUTF8(std::string_view text);
/// A new random UUID in upper case.
std::string uuidString();

}  // namespace oq
