// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Foundation/PropertyLists/PropertyValue.h"

namespace oq {

/// A persistent store of values by key: one SQLite database (WAL mode) per suite in the preferences folder. The
/// application's standard defaults have a separate database, even if a suite has the application's name. Stored values
/// survive a crash and are shared between processes. A damaged or foreign database reads as empty and is replaced at
/// the next write. Objects of the same suite share one connection. Thread-safe. A call waits at most two seconds for
/// other threads and processes; then it fails: a read returns no value, a write false. Existing values can be read
/// where writing is impossible.
class UserDefaults {
 public:
  static std::shared_ptr<UserDefaults> standardUserDefaults();
  static std::shared_ptr<UserDefaults> withSuiteName(std::string_view suite);

  /// A null value removes the entry. Returns after the value was written to the database; false if that failed.
  bool setObject(const PropertyValue& value, std::string_view key);
  /// A null JSONValue if there is no entry.
  PropertyValue objectForKey(std::string_view key);
  void removeObjectForKey(std::string_view key);
  void setInteger(std::int64_t value, std::string_view key);
  /// 0 if there is no entry; strings are read as numbers.
  std::int64_t integerForKey(std::string_view key);
  /// Blocks until every write so far has reached the disk; false if that fails.
  bool synchronize();

  ~UserDefaults();
  class Store;
  explicit UserDefaults(std::shared_ptr<Store> store);

 private:
  std::shared_ptr<Store> _store;
};

/// Closes every open database; the next use opens it again. If no other process uses a database, SQLite then copies its
/// log into it and removes the log, which may contain removed values.
void closeAllUserDefaults();

}  // namespace oq
