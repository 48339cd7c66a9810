#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Foundation/PropertyLists/PropertyValue.h"

namespace oq {

/// A persistent store of values by key, one database per suite (SQLite in WAL mode) in the preferences folder. The
/// application's standard defaults have a database of their own, also where a suite has the application's name.
/// Survives a crash of the process and is shared by processes. A torn or foreign database reads as empty and is
/// replaced at the next write. Objects of the same suite share one connection. Any thread; a call waits two seconds at
/// most for other threads and processes, and then fails as it would on a full disk. What is there is read where nothing
/// can be written.
class UserDefaults {
 public:
  static std::shared_ptr<UserDefaults> standardUserDefaults();
  static std::shared_ptr<UserDefaults> withSuiteName(std::string_view suite);

  /// A null value removes the entry. Returns once the value is handed to the database; false when it could not be kept.
  bool setObject(const PropertyValue& value, std::string_view key);
  /// A null JSONValue when there is none.
  PropertyValue objectForKey(std::string_view key);
  void removeObjectForKey(std::string_view key);
  void setInteger(std::int64_t value, std::string_view key);
  /// 0 when there is none; strings are read as numbers.
  std::int64_t integerForKey(std::string_view key);
  /// Every write is on its way to the disk already; waits until it is there.
  bool synchronize();

  ~UserDefaults();
  class Store;
  explicit UserDefaults(std::shared_ptr<Store> store);

 private:
  std::shared_ptr<Store> _store;
};

/// Closes every open database, as the end of the process would. For tests that change the data folder.
void closeAllUserDefaults();

}  // namespace oq
