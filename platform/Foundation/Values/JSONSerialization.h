#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Foundation/Values/Data.h"
#include "Foundation/Values/JSONValue.h"

namespace oq {

/// Parses one JSON value of any kind (fragments allowed), nested at most 512 deep. nullopt for anything else,
/// bytes after the value included; `error` is then set to what is wrong, and where. A UTF-8 byte-order mark before the
/// value is skipped. A number out of range, invalid UTF-8 or a torn text is not JSON.
std::optional<JSONValue> valueWithJSON(std::string_view text, std::string* error = nullptr);
std::optional<JSONValue> valueWithJSONData(const Data& data);

/// JSON with two blanks of indentation. Throws Exception "NSInvalidArgumentException" unless the value is an
/// array or a dictionary. Numbers that are not finite are written as null.
Data dataWithJSONObject(const JSONValue& object);
/// The same text for any value. Like every text made here it nests at most 512 deep, what lies deeper being
/// written as null, and is valid UTF-8: bytes that are not become U+FFFD.
std::string prettyJSON(const JSONValue& value);
std::string prettyJSON(const JSONDictionary& dictionary);
/// JSON without blanks, for stores: a double is still a double when it is read again.
std::string compactJSON(const JSONValue& value);

}  // namespace oq
