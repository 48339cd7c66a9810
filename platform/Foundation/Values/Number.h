#pragma once

#include <cstdint>
#include <string_view>

#include "Foundation/Values/JSONValue.h"

namespace oq {

/// Numbers from any object. Strings are read with leading blanks and as their longest decimal prefix, saturating;
/// booleans are 1 and 0; everything else is 0. Never hexadecimal, infinity or not-a-number.
std::int64_t integerValue(const JSONValue& value);
double doubleValue(const JSONValue& value);

/// The value of a dictionary's key; a null JSONValue when there is none or `object` is no dictionary.
const JSONValue& valueForKey(const JSONValue& object, std::string_view key);
/// Present, a string, and not empty.
bool isNonEmptyString(const JSONValue& value);

}  // namespace oq
