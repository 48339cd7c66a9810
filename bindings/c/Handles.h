// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "c/Guard.h"

namespace oq::c {

/// The objects of one kind that the program holds pointers to. get() and take() refuse a pointer that was
/// freed or was never valid. Thread-safe.
template <class Object>
class Handles {
 public:
  explicit Handles(const char* name) : _name(name) {}

  Object* add(std::shared_ptr<Object> object) {
    const std::lock_guard lock(_mutex);
    Object* pointer = object.get();
    _objects.emplace(pointer, std::move(object));
    return pointer;
  }
  /// Throws a Failure if there is no such object.
  std::shared_ptr<Object> get(const Object* pointer) {
    const std::lock_guard lock(_mutex);
    return find(pointer)->second;
  }
  /// Removes the object. Throws a Failure if there is no such object.
  std::shared_ptr<Object> take(const Object* pointer) {
    const std::lock_guard lock(_mutex);
    const auto found = find(pointer);
    auto object = std::move(found->second);
    _objects.erase(found);
    return object;
  }
  std::vector<std::shared_ptr<Object>> takeAll() {
    const std::lock_guard lock(_mutex);
    std::vector<std::shared_ptr<Object>> all;
    all.reserve(_objects.size());
    for (auto& [pointer, object] : _objects) all.push_back(std::move(object));
    _objects.clear();
    return all;
  }

 private:
  auto find(const Object* pointer) {
    const auto found = _objects.find(pointer);
    if (found == _objects.end())
      throw Failure(OQ_ERROR_ARGUMENT, std::string(_name) + (pointer ? " does not exist (any more)." : " is NULL."));
    return found;
  }

  const char* const _name;
  std::mutex _mutex;
  std::unordered_map<const Object*, std::shared_ptr<Object>> _objects;
};

}  // namespace oq::c
