// SPDX-License-Identifier: Apache-2.0
#include "oqsdk/Value.h"

#include <limits>
#include <memory>

#include "Foundation/Values/JSONSerialization.h"
#include "Foundation/Values/JSONValue.h"

namespace oq {

static_assert(sizeof(Value) == sizeof(JSONValue) && alignof(Value) == alignof(JSONValue),
              "a Value stores a JSON value in place");
static_assert(sizeof(Dictionary) == sizeof(Value) && sizeof(Array) == sizeof(Value));

namespace {

const Value& nothing() {
  static const auto* null = new Value;  // never destroyed: it may be read while the process ends
  return *null;
}

}  // namespace

Value::Value() noexcept {
  new (_storage) JSONValue;
}

Value::Value(bool value, Exactly) noexcept {
  new (_storage) JSONValue(value);
}

Value::Value(double value, Exactly) noexcept {
  new (_storage) JSONValue(value);
}

Value::Value(std::int64_t value, Exactly) noexcept {
  new (_storage) JSONValue(value);
}

Value::Value(std::uint64_t value, Exactly) noexcept {
  new (_storage) JSONValue(value);
}

Value::Value(std::string_view text, Exactly) {
  new (_storage) JSONValue(text);
}

Value::Value(const char* text) {
  text ? new (_storage) JSONValue(text) : new (_storage) JSONValue;
}

Value::Value(std::initializer_list<Member> members) : Value(Kind::Dictionary) {
  JSONDictionary& dictionary = jsonIn(*this).get_object();
  dictionary.reserve(members.size());
  for (const Member& member : members) dictionary.insert_or_assign(member.key, std::move(jsonIn(member.value)));
}

Value::Value(Kind kind) : Value() {
  if (kind == Kind::Dictionary) jsonIn(*this).emplace_object();
  if (kind == Kind::Array) jsonIn(*this).emplace_array();
}

Value::Value(const Value& other) {
  new (_storage) JSONValue(jsonIn(other));
}

Value::Value(Value&& other) noexcept {
  new (_storage) JSONValue(std::move(jsonIn(other)));
}

Value& Value::operator=(const Value& other) {
  jsonIn(*this) = jsonIn(other);
  return *this;
}

Value& Value::operator=(Value&& other) noexcept {
  jsonIn(*this) = std::move(jsonIn(other));
  return *this;
}

Value::~Value() {
  std::destroy_at(&jsonIn(*this));
}

Value::Kind Value::kind() const noexcept {
  switch (jsonIn(*this).kind()) {
    case boost::json::kind::null:
      break;
    case boost::json::kind::bool_:
      return Kind::Boolean;
    case boost::json::kind::int64:
    case boost::json::kind::uint64:
    case boost::json::kind::double_:
      return Kind::Number;
    case boost::json::kind::string:
      return Kind::String;
    case boost::json::kind::array:
      return Kind::Array;
    case boost::json::kind::object:
      return Kind::Dictionary;
  }
  return Kind::Null;
}

bool Value::toBool(bool otherwise) const noexcept {
  const bool* boolean = jsonIn(*this).if_bool();
  return boolean ? *boolean : otherwise;
}

double Value::toDouble(double otherwise) const noexcept {
  const JSONValue& value = jsonIn(*this);
  if (const double* number = value.if_double()) return *number;
  if (const std::int64_t* number = value.if_int64()) return static_cast<double>(*number);
  if (const std::uint64_t* number = value.if_uint64()) return static_cast<double>(*number);
  return otherwise;
}

std::int64_t Value::toInteger(std::int64_t otherwise) const noexcept {
  const JSONValue& value = jsonIn(*this);
  if (const std::int64_t* number = value.if_int64()) return *number;
  if (const std::uint64_t* number = value.if_uint64()) {
    return *number <= std::uint64_t{std::numeric_limits<std::int64_t>::max()} ? static_cast<std::int64_t>(*number)
                                                                              : otherwise;
  }
  constexpr double beyond = 9223372036854775808.0;  // 2^63
  const double* number = value.if_double();
  return number && *number >= -beyond && *number < beyond ? static_cast<std::int64_t>(*number) : otherwise;
}

std::string_view Value::toString(std::string_view otherwise) const noexcept {
  const boost::json::string* text = jsonIn(*this).if_string();
  return text ? std::string_view(*text) : otherwise;
}

std::size_t Value::size() const noexcept {
  if (const JSONArray* array = jsonIn(*this).if_array()) return array->size();
  const JSONDictionary* dictionary = jsonIn(*this).if_object();
  return dictionary ? dictionary->size() : 0;
}

const Value& Value::at(std::size_t index) const noexcept {
  const JSONArray* array = jsonIn(*this).if_array();
  return array && index < array->size() ? publicView((*array)[index]) : nothing();
}

const Value& Value::at(std::string_view key) const noexcept {
  const JSONDictionary* dictionary = jsonIn(*this).if_object();
  const JSONValue* found = dictionary ? dictionary->if_contains(key) : nullptr;
  return found ? publicView(*found) : nothing();
}

std::vector<std::string_view> Value::keys() const {
  std::vector<std::string_view> keys;
  if (const JSONDictionary* dictionary = jsonIn(*this).if_object()) {
    keys.reserve(dictionary->size());
    for (const auto& entry : *dictionary) keys.push_back(entry.key());
  }
  return keys;
}

const Value* Value::begin() const noexcept {
  const JSONArray* array = jsonIn(*this).if_array();
  return array && !array->empty() ? &publicView(array->front()) : nullptr;
}

const Value* Value::end() const noexcept {
  const Value* first = begin();
  return first ? first + size() : nullptr;
}

Value& Value::operator[](std::string_view key) {
  JSONValue& value = jsonIn(*this);
  if (JSONValue* found = value.is_object() ? value.get_object().if_contains(key) : nullptr) return publicView(*found);
  const std::string added(key);  // copied: the key may point into this value
  if (!value.is_object()) value.emplace_object();
  return publicView(value.get_object()[added]);
}

void Value::set(std::string_view key, Value value) {
  (*this)[key] = std::move(value);
}

void Value::push_back(Value element) {
  JSONValue& value = jsonIn(*this);
  if (!value.is_array()) value.emplace_array();
  value.get_array().push_back(std::move(jsonIn(element)));
}

bool Value::erase(std::string_view key) {
  JSONDictionary* dictionary = jsonIn(*this).if_object();
  if (!dictionary || !dictionary->contains(key)) return false;
  dictionary->stable_erase(key);  // keeps the order of the others
  return true;
}

bool Value::isEqual(const Value& other) const noexcept {
  return jsonIn(*this) == jsonIn(other);
}

std::string Value::json() const {
  return compactJSON(jsonIn(*this));
}

Value Value::parse(std::string_view json, std::string* error) {
  if (error) error->clear();
  auto parsed = valueWithJSON(json, error);
  return parsed ? publicValue(std::move(*parsed)) : Value();
}

Array::Array(std::initializer_list<Value> elements) : Array() {
  JSONArray& array = jsonIn(*this).get_array();
  array.reserve(elements.size());
  for (const Value& element : elements) array.push_back(jsonIn(element));
}

}  // namespace oq
