// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Foundation/Values/JSONValue.h"
#include "oqsdk/Runtime.h"

namespace oq {

/// Is notified of changes to an object's properties, on the thread that changes them.
class KeyValueObserver {
 public:
  /// `change` has the new value for the key "new".
  virtual void observeValueForKeyPath(const std::string& keyPath, Object& object, const JSONDictionary& change) = 0;

 protected:
  ~KeyValueObserver() = default;
};

/// The observers of one object, held weakly. Not thread-safe.
class KeyValueObservers {
 public:
  void add(const std::shared_ptr<KeyValueObserver>& observer, std::string keyPath) {
    if (observer) _entries.push_back({observer, observer.get(), std::move(keyPath)});
  }
  /// May be called while the observer is being destroyed.
  void remove(const KeyValueObserver& observer, const std::string& keyPath) {
    std::erase_if(_entries, [&](const Entry& entry) { return entry.address == &observer && entry.keyPath == keyPath; });
  }
  /// The caller keeps the object alive during the call, whatever the observers do.
  void notify(const std::string& keyPath, Object& object, const JSONValue& newValue) const {
    const auto entries = _entries;
    for (const Entry& entry : entries) {
      const auto observer = entry.keyPath == keyPath ? entry.observer.lock() : nullptr;
      if (observer) observer->observeValueForKeyPath(keyPath, object, {{"new", newValue}});
    }
  }

 private:
  struct Entry {
    std::weak_ptr<KeyValueObserver> observer;
    const KeyValueObserver* address;
    std::string keyPath;
  };
  std::vector<Entry> _entries;
};

}  // namespace oq
