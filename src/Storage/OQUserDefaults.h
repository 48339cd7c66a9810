// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Foundation/Values/JSONValue.h"
#include "oqsdk/Runtime.h"

namespace oq {

class UserDefaults;

/// The library's small persistent values: one suite of user defaults, selected by name. Thread-safe. Failed writes are
/// silent; entries that are bytes or dates read as null. While consent is missing (OQConsent), entries are only read.
class OQUserDefaults : public Object {
  OQ_CLASS(OQUserDefaults)

 public:
  /// One object for the whole process. Intentional: the name of the first call is used, and later names are ignored.
  static OQUserDefaults& defaultsWithName(const std::string& name);
  /// The library's own suite, "group.oqsdk".
  static OQUserDefaults& groupDefaults();
  /// The environment that is stored in groupDefaults(), read at each call; 0 if there is none. While consent is
  /// missing, an environment that setEnvironment() keeps in memory is returned instead.
  static std::uint64_t environment();
  /// Stores the environment. While consent is missing it is only kept in memory; the first call of environment() after
  /// consent was given stores it. A host sets the environment before the start, and the first login must use it.
  static void setEnvironment(std::uint64_t environment);
  /// Without a name it uses the standard defaults.
  explicit OQUserDefaults(std::optional<std::string> name) : _name(std::move(name)) {}

  const std::optional<std::string>& name() const { return _name; }

  /// A null value removes the entry.
  void setObject(const JSONValue& value, std::string_view key);
  JSONValue objectForKey(std::string_view key) const;
  void setInteger(std::int64_t value, std::string_view key);
  /// 0 if there is no entry.
  std::int64_t integerForKey(std::string_view key) const;

 private:
  /// Every operation opens the store again: the data folder may have changed.
  std::shared_ptr<UserDefaults> open() const;

  const std::optional<std::string> _name;
};

}  // namespace oq
