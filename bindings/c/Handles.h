// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "c/Guard.h"

namespace oq::c {

/// The objects of one kind that the program holds handles to. For the program a handle is a pointer, but it is the
/// number of the object, and not an address: the address of a freed object may soon belong to another one. So get() and
/// take() refuse every handle that was freed or was never valid. Thread-safe.
template <class Object>
class Handles {
 public:
  explicit Handles(const char* name) : _name(name) {}

  Object* add(std::shared_ptr<Object> object) {
    const std::lock_guard lock(_mutex);
    const std::uintptr_t number = ++_last * alignof(std::max_align_t);
    _objects.emplace(number, std::move(object));
    return reinterpret_cast<Object*>(number);
  }
  /// Throws a Failure if there is no such object.
  std::shared_ptr<Object> get(const Object* handle) {
    const std::lock_guard lock(_mutex);
    return find(handle)->second;
  }
  /// Removes the object. Throws a Failure if there is no such object.
  std::shared_ptr<Object> take(const Object* handle) {
    const std::lock_guard lock(_mutex);
    const auto found = find(handle);
    auto object = std::move(found->second);
    _objects.erase(found);
    return object;
  }
  std::vector<std::shared_ptr<Object>> takeAll() {
    const std::lock_guard lock(_mutex);
    std::vector<std::shared_ptr<Object>> all;
    all.reserve(_objects.size());
    for (auto& [number, object] : _objects) all.push_back(std::move(object));
    _objects.clear();
    return all;
  }

 private:
  auto find(const Object* handle) {
    const auto found = _objects.find(reinterpret_cast<std::uintptr_t>(handle));
    if (found == _objects.end())
      throw Failure(OQ_ERROR_ARGUMENT, std::string(_name) + (handle ? " does not exist (any more)." : " is NULL."));
    return found;
  }

  const char* const _name;
  std::mutex _mutex;
  std::uintptr_t _last = 0;
  std::unordered_map<std::uintptr_t, std::shared_ptr<Object>> _objects;
};

}  // namespace oq::c
