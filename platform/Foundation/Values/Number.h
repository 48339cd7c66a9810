// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>

#include "Foundation/Values/JSONValue.h"

namespace oq {

/// Converts any value to a number. For a string, leading white space is skipped and the longest decimal prefix is read;
/// out-of-range values saturate. Booleans are 1 and 0; everything else is 0. Hexadecimal, infinity and not-a-number are
/// not read.
std::int64_t integerValue(const JSONValue& value);
double doubleValue(const JSONValue& value);

/// The value of a dictionary's key; a null JSONValue if the key is missing or `object` is not a dictionary.
const JSONValue& valueForKey(const JSONValue& object, std::string_view key);
bool isNonEmptyString(const JSONValue& value);

}  // namespace oq
