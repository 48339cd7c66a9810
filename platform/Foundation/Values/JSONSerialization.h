// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

#include "Foundation/Values/Data.h"
#include "oqsdk/Value.h"

namespace oq {

/// Parses one JSON value of any kind (fragments allowed), nested at most 512 deep. nullopt for anything else, including
/// trailing bytes, numbers out of range, invalid UTF-8 and truncated input. A UTF-8 byte-order mark before the value is
/// skipped.
std::optional<Value> valueWithJSONData(const Data& data);

/// JSON with an indentation of two spaces. Throws Exception "NSInvalidArgumentException" unless the value is an array
/// or a dictionary. Non-finite numbers are written as null.
Data dataWithJSONObject(const Value& object);
/// The same format for any value. All functions here write at most 512 levels (deeper values become null) and valid
/// UTF-8 (invalid bytes become U+FFFD).
std::string prettyJSON(const Value& value);
std::string prettyJSON(const Dictionary& dictionary);
/// JSON without spaces, for storage: a double is read back as a double.
std::string compactJSON(const Value& value);

}  // namespace oq
