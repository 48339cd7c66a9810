// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Foundation/Values/Data.h"
#include "Foundation/Values/JSONValue.h"

namespace oq {

/// Parses one JSON value of any kind (fragments allowed), nested at most 512 deep. nullopt for anything else, including
/// trailing bytes, numbers out of range, invalid UTF-8 and truncated input; `error`, if given, then describes the error
/// and its position. A UTF-8 byte-order mark before the value is skipped.
std::optional<JSONValue> valueWithJSON(std::string_view text, std::string* error = nullptr);
std::optional<JSONValue> valueWithJSONData(const Data& data);

/// JSON with an indentation of two spaces. Throws Exception "NSInvalidArgumentException" unless the value is an array
/// or a dictionary. Non-finite numbers are written as null.
Data dataWithJSONObject(const JSONValue& object);
/// The same format for any value. All functions here write at most 512 levels (deeper values become null) and valid
/// UTF-8 (invalid bytes become U+FFFD).
std::string prettyJSON(const JSONValue& value);
std::string prettyJSON(const JSONDictionary& dictionary);
/// JSON without spaces, for storage. Unlike prettyJSON(), it writes the double 1 as "1.0", so that a double is read
/// back as a double.
std::string compactJSON(const JSONValue& value);

}  // namespace oq
