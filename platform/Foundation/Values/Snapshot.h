// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <mutex>
#include <utility>

namespace oq {

/// An immutable value that is replaced as a whole. A reader gets the old value or the new one, never a mixture, and may
/// keep it. Thread-safe.
template <class T>
class Snapshot {
 public:
  explicit Snapshot(std::shared_ptr<const T> value) : _value(std::move(value)) {}
  Snapshot() : Snapshot(std::make_shared<const T>()) {}

  std::shared_ptr<const T> load() const {
    std::lock_guard lock(_mutex);
    return _value;
  }
  /// Returns the replaced value, so that the caller destroys it outside the lock.
  std::shared_ptr<const T> exchange(std::shared_ptr<const T> value) {
    std::lock_guard lock(_mutex);
    return std::exchange(_value, std::move(value));
  }

 private:
  mutable std::mutex _mutex;
  std::shared_ptr<const T> _value;
};

}  // namespace oq
