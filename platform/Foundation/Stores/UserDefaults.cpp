// SPDX-License-Identifier: Apache-2.0
#include "Foundation/Stores/UserDefaults.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Foundation/Files/Bundle.h"
#include "Foundation/Files/FileManager.h"
#include "Foundation/Stores/DefaultsDatabase.h"
#include "Foundation/Values/Base64.h"
#include "Foundation/Values/Number.h"
#include "Foundation/Values/TimedLock.h"

namespace oq {
namespace {

/// True if both are stored as the same text: kinds of numbers and the order of keys count.
bool isSameValue(const JSONValue& a, const JSONValue& b) {
  if (a.kind() != b.kind()) return false;
  if (const JSONArray* array = a.if_array()) {
    return std::equal(array->begin(), array->end(), b.get_array().begin(), b.get_array().end(), isSameValue);
  }
  const JSONDictionary* object = a.if_object();
  if (!object) return a == b;
  return std::equal(object->begin(), object->end(), b.get_object().begin(), b.get_object().end(),
                    [](auto& x, auto& y) { return x.key() == y.key() && isSameValue(x.value(), y.value()); });
}

bool isSameProperty(const PropertyValue& a, const PropertyValue& b) {
  auto* value = std::get_if<JSONValue>(&a);
  auto* other = std::get_if<JSONValue>(&b);
  return value && other ? isSameValue(*value, *other) : a == b;
}

bool isNothing(const PropertyValue& value) {
  auto* object = std::get_if<JSONValue>(&value);
  return object && object->is_null();
}

/// Whether a stored value is read back identical, so that it may be cached without reading it.
bool readsBackUnchanged(const PropertyValue& value) {
  auto* object = std::get_if<JSONValue>(&value);
  if (!object || object->is_bool() || object->is_int64() || object->is_uint64()) return true;
  return object->is_string() && isValidUTF8(object->get_string());
}

struct TransparentHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
};

}  // namespace

/// A suite: its database, and a cache of the values read or written so far. The cache is cleared when another process
/// writes.
class UserDefaults::Store {
 public:
  explicit Store(std::filesystem::path file) : _database(std::move(file)) {}

  bool set(const PropertyValue& value, std::string_view key) {
    auto turn = takeTurn();
    if (!turn) return false;
    if (isKnownToBe(value, key)) return true;
    bool kept = isNothing(value) ? _database.remove(key) : _database.write(key, value);
    auto known = _known.find(key);
    if (!kept || !isKeptInMemory(value) || !readsBackUnchanged(value)) {
      if (known != _known.end()) _known.erase(known);
    } else if (known != _known.end()) {
      known->second = value;
    } else {
      remember(key, value);
    }
    return kept;
  }

  PropertyValue get(std::string_view key) {
    auto turn = takeTurn();
    if (!turn) return JSONValue();
    if (const PropertyValue* known = current(key)) return *known;
    auto value = _database.read(key);
    if (!value) return JSONValue();
    if (isKeptInMemory(*value)) remember(key, *value);
    return *std::move(value);
  }

  bool synchronize() {
    std::optional<DefaultsDatabase::Log> log;
    {
      auto turn = takeTurn();
      if (!turn) return false;
      log = _database.unflushedLog();
      if (!log) return _database.flush();
    }
    // Flushing can take seconds. The lock is released, so that other threads can read and write meanwhile.
    if (::fdatasync(log->file.get()) != 0) return false;
    if (auto turn = takeTurn()) _database.noteFlushed(*log);
    return true;
  }

  void close() {
    std::lock_guard lock(_mutex);
    _known.clear();
    _database.close();
  }

 private:
  // Long enough for another process to finish a write and a checkpoint, short enough for a waiting user.
  static constexpr auto kLongestWait = std::chrono::seconds(2);
  static constexpr std::size_t kMaximumKnown = 4096;
  static constexpr std::size_t kMaximumKnownBytes = 64 << 10;

  /// Returns an unlocked lock if other threads hold the mutex until the timeout. The time spent waiting for the mutex
  /// leaves less time to wait for the database, so a call never waits longer than kLongestWait.
  std::unique_lock<std::timed_mutex> takeTurn() {
    auto deadline = DefaultsDatabase::Clock::now() + kLongestWait;
    auto turn = lockWithin(_mutex, kLongestWait);
    if (turn) _database.waitUntil(deadline);
    return turn;
  }

  static bool isKeptInMemory(const PropertyValue& value) {
    auto* data = std::get_if<Data>(&value);
    return !data || data->size() <= kMaximumKnownBytes;
  }

  /// The cached value of the key; nullptr if there is none or if another process has written since.
  const PropertyValue* current(std::string_view key) {
    if (_database.changedElsewhere()) _known.clear();
    auto known = _known.find(key);
    return known == _known.end() ? nullptr : &known->second;
  }

  /// Whether the value is already stored. A value that differs from the cached one is written even if another process
  /// has stored it since. So the database is queried only if both are equal or no value is cached.
  bool isKnownToBe(const PropertyValue& value, std::string_view key) {
    if (!isKeptInMemory(value)) return false;
    if (auto known = _known.find(key); known != _known.end() && !isSameProperty(known->second, value)) return false;
    if (const PropertyValue* known = current(key)) return isSameProperty(*known, value);
    auto stored = _database.read(key);
    if (!stored) return false;
    bool same = isSameProperty(*stored, value);
    if (isKeptInMemory(*stored)) remember(key, *std::move(stored));
    return same;
  }

  void remember(std::string_view key, PropertyValue value) {
    if (_known.size() >= kMaximumKnown) _known.clear();
    _known.insert_or_assign(std::string(key), std::move(value));
  }

  std::timed_mutex _mutex;
  DefaultsDatabase _database;
  std::unordered_map<std::string, PropertyValue, TransparentHash, std::equal_to<>> _known;
};

namespace {

/// The open databases of the current data folder.
struct Registry {
  using ByName = std::map<std::string, std::pair<std::shared_ptr<UserDefaults::Store>, std::shared_ptr<UserDefaults>>,
                          std::less<>>;

  std::mutex mutex;
  std::uint64_t generation = 0;
  ByName suites, applications;
};

Registry& registry() {
  static auto* shared = new Registry;  // never destroyed: threads may use it while the process ends
  return *shared;
}

/// Escapes a name for use in a file name: it cannot refer to another folder, and different names give different
/// results.
std::string escaped(std::string_view text) {
  std::string name;
  for (char c : text) {
    if (c == '/') {
      name += "%2F";
    } else if (c == '%') {
      name += "%25";
    } else if (c == '\0') {
      name += "%00";
    } else {
      name.push_back(c);
    }
  }
  return name;
}

std::shared_ptr<UserDefaults> open(Registry::ByName Registry::*group, const char* prefix, std::string_view name) {
  std::uint64_t generation = applicationDataGeneration();
  std::lock_guard lock(registry().mutex);
  if (std::exchange(registry().generation, generation) != generation) {
    registry().suites.clear();
    registry().applications.clear();
  }
  auto& known = registry().*group;
  auto found = known.find(name);
  if (found == known.end()) {
    const auto file = applicationDataDirectory() / "Preferences" / (prefix + escaped(name) + ".sqlite");
    auto store = std::make_shared<UserDefaults::Store>(file);
    found = known.emplace(name, std::pair(store, std::make_shared<UserDefaults>(store))).first;
  }
  return found->second.second;
}

}  // namespace

/// The prefix differs from every suite's file name, because escaped() never produces "%a". So a suite that has the
/// application's name gets another file.
std::shared_ptr<UserDefaults> UserDefaults::standardUserDefaults() {
  return open(&Registry::applications, "%application.", mainBundleIdentifier());
}

std::shared_ptr<UserDefaults> UserDefaults::withSuiteName(std::string_view suite) {
  return open(&Registry::suites, "", suite);
}

UserDefaults::UserDefaults(std::shared_ptr<Store> store) : _store(std::move(store)) {}
UserDefaults::~UserDefaults() = default;

bool UserDefaults::setObject(const PropertyValue& value, std::string_view key) {
  return _store->set(value, key);
}
PropertyValue UserDefaults::objectForKey(std::string_view key) {
  return _store->get(key);
}
void UserDefaults::removeObjectForKey(std::string_view key) {
  _store->set(JSONValue(), key);
}
void UserDefaults::setInteger(std::int64_t value, std::string_view key) {
  _store->set(JSONValue(value), key);
}

std::int64_t UserDefaults::integerForKey(std::string_view key) {
  PropertyValue stored = _store->get(key);
  auto* value = std::get_if<JSONValue>(&stored);
  return value ? integerValue(*value) : 0;
}

bool UserDefaults::synchronize() {
  return _store->synchronize();
}

void closeAllUserDefaults() {
  std::lock_guard lock(registry().mutex);
  for (auto* known : {&registry().suites, &registry().applications}) {
    for (auto& [name, open] : *known) open.first->close();
    known->clear();
  }
}

}  // namespace oq
