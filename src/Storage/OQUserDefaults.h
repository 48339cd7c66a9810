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

/// The library's small persistent values: a suite of user defaults by name. Any thread. What cannot be kept
/// is lost silently; entries that are bytes or dates read as null.
class OQUserDefaults : public Object {
  OQ_CLASS(OQUserDefaults)

 public:
  /// One object for the whole process. The first caller's name wins, whatever later callers say; meant.
  static OQUserDefaults& defaultsWithName(const std::string& name);
  /// No name stands for the standard defaults.
  explicit OQUserDefaults(std::optional<std::string> name) : _name(std::move(name)) {}

  const std::optional<std::string>& name() const { return _name; }

  /// A null value removes the entry.
  void setObject(const JSONValue& value, std::string_view key);
  JSONValue objectForKey(std::string_view key) const;
  void setInteger(std::int64_t value, std::string_view key);
  /// 0 when there is none.
  std::int64_t integerForKey(std::string_view key) const;

 private:
  /// Opened afresh by every operation.
  std::shared_ptr<UserDefaults> open() const;

  const std::optional<std::string> _name;
};

}  // namespace oq
