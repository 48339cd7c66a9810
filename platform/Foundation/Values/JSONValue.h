// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/json/value.hpp>
#include <new>
#include <utility>

#include "oqsdk/Value.h"

namespace oq {

/// What a public Value holds in its place. The library works with these; only the public interface takes a Value.
using JSONValue = boost::json::value;
using JSONDictionary = boost::json::object;
using JSONArray = boost::json::array;

/// What the Value holds. Both views cost nothing and live as long as their argument.
inline JSONValue& jsonIn(Value& value) {
  return *std::launder(reinterpret_cast<JSONValue*>(&value));
}
inline const JSONValue& jsonIn(const Value& value) {
  return *std::launder(reinterpret_cast<const JSONValue*>(&value));
}

/// The JSON value as a host sees it. A Value is nothing but its storage, and reads it through jsonIn() alone.
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
