// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/json/value.hpp>
#include <new>
#include <utility>

#include "oqsdk/Value.h"

namespace oq {

/// The JSON value inside a public Value. The library uses this type; only the public interface uses Value.
using JSONValue = boost::json::value;
using JSONDictionary = boost::json::object;
using JSONArray = boost::json::array;

/// The JSON value inside the Value. This is a cast: it copies nothing, and the result is valid as long as the argument.
inline JSONValue& jsonIn(Value& value) {
  return *std::launder(reinterpret_cast<JSONValue*>(&value));
}
inline const JSONValue& jsonIn(const Value& value) {
  return *std::launder(reinterpret_cast<const JSONValue*>(&value));
}

/// The JSON value as a Value, for the host. The cast is possible because a Value consists only of the storage of a JSON
/// value, and accesses it only through jsonIn().
inline const Value& publicView(const JSONValue& value) {
  return reinterpret_cast<const Value&>(value);
}
inline Value& publicView(JSONValue& value) {
  return reinterpret_cast<Value&>(value);
}
inline Value publicValue(JSONValue&& value) {
  Value made;
  jsonIn(made) = std::move(value);
  return made;
}

}  // namespace oq
