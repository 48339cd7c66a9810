#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Foundation/Values/Data.h"

namespace oq {

/// Standard alphabet, padding, no line breaks.
std::string base64EncodedString(const Data& data);
/// Ignores characters outside the alphabet; nullopt when what remains is not base64.
std::optional<Data> dataWithBase64(std::string_view text);
bool isValidUTF8(std::string_view text);
/// A fresh random UUID in upper case.
std::string uuidString();

}  // namespace oq
