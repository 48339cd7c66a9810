// SPDX-License-Identifier: Apache-2.0
#include "Storage/OQUserDefaults.h"

#include <atomic>
#include <mutex>

#include "Foundation/Files/FileManager.h"
#include "Foundation/Stores/UserDefaults.h"
#include "Utils/OQConsent.h"

namespace oq {

namespace {

constexpr const char* kEnvironmentKey = "envType";

/// The environment that was chosen while consent was missing.
struct WaitingEnvironment {
  std::atomic<bool> exists{false};
  std::mutex mutex;
  std::uint64_t value = 0;
};

WaitingEnvironment& waitingEnvironment() {
  static auto* shared = new WaitingEnvironment;  // never destroyed: threads may use it until the process ends
  return *shared;
}

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
  WaitingEnvironment& waiting = waitingEnvironment();
  if (waiting.exists) {
    std::lock_guard lock(waiting.mutex);
    if (waiting.exists && OQConsent::isMissing()) return waiting.value;
    if (waiting.exists.exchange(false)) {
      groupDefaults().setInteger(static_cast<std::int64_t>(waiting.value), kEnvironmentKey);
    }
  }
  return static_cast<std::uint64_t>(groupDefaults().integerForKey(kEnvironmentKey));
}

void OQUserDefaults::setEnvironment(std::uint64_t environment) {
  WaitingEnvironment& waiting = waitingEnvironment();
  std::lock_guard lock(waiting.mutex);
  waiting.exists = OQConsent::isMissing();
  waiting.value = environment;
  if (waiting.exists) return;
  groupDefaults().setInteger(static_cast<std::int64_t>(environment), kEnvironmentKey);
}

std::shared_ptr<UserDefaults> OQUserDefaults::open() const {
  return _name ? UserDefaults::withSuiteName(*_name) : UserDefaults::standardUserDefaults();
}

void OQUserDefaults::setObject(const JSONValue& value, std::string_view key) {
  if (!mayWriteFiles()) return;
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
  if (!mayWriteFiles()) return;
  auto defaults = open();
  defaults->setInteger(value, key);
  defaults->synchronize();
}

std::int64_t OQUserDefaults::integerForKey(std::string_view key) const {
  return open()->integerForKey(key);
}

}  // namespace oq
