// SPDX-License-Identifier: Apache-2.0
#include "Storage/OQUserDefaults.h"

#include "Foundation/Stores/UserDefaults.h"

namespace oq {

namespace {

constexpr const char* kEnvironmentKey = "envType";

}  // namespace

Class* OQUserDefaults::staticClass() {
  static Class* registered = registerClass("OQUserDefaults", Object::staticClass());
  return registered;
}

OQUserDefaults& OQUserDefaults::defaultsWithName(const std::string& name) {
  static OQUserDefaults& shared = *new OQUserDefaults(name);
  return shared;
}

OQUserDefaults& OQUserDefaults::groupDefaults() {
  return defaultsWithName("group.oqsdk");
}

std::uint64_t OQUserDefaults::environment() {
  return static_cast<std::uint64_t>(groupDefaults().integerForKey(kEnvironmentKey));
}

void OQUserDefaults::setEnvironment(std::uint64_t environment) {
  groupDefaults().setInteger(static_cast<std::int64_t>(environment), kEnvironmentKey);
}

std::shared_ptr<UserDefaults> OQUserDefaults::open() const {
  return _name ? UserDefaults::withSuiteName(*_name) : UserDefaults::standardUserDefaults();
}

void OQUserDefaults::setObject(const JSONValue& value, std::string_view key) {
  auto defaults = open();
  defaults->setObject(value, key);
  defaults->synchronize();
}

JSONValue OQUserDefaults::objectForKey(std::string_view key) const {
  PropertyValue stored = open()->objectForKey(key);
  JSONValue* value = std::get_if<JSONValue>(&stored);
  return value ? std::move(*value) : JSONValue();
}

void OQUserDefaults::setInteger(std::int64_t value, std::string_view key) {
  auto defaults = open();
  defaults->setInteger(value, key);
  defaults->synchronize();
}

std::int64_t OQUserDefaults::integerForKey(std::string_view key) const {
  return open()->integerForKey(key);
}

}  // namespace oq
