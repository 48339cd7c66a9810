// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <utility>

#include "Dispatch/DispatchQueue.h"

namespace oq {

/// True on the thread that installed the host, unless a block of another queue runs on it.
inline bool isOnMainQueue() {
  return DispatchQueue::currentLabel() == DispatchQueue::main().label();
}

/// Creates a view or controller that is always destroyed on the main queue, on whatever thread its last reference is
/// dropped.
template <class T, class... Arguments>
std::shared_ptr<T> makeMainObject(Arguments&&... arguments) {
  return std::shared_ptr<T>(new T(std::forward<Arguments>(arguments)...), [](T* object) {
    if (isOnMainQueue()) {
      delete object;
    } else {
      DispatchQueue::main().async([object] { delete object; });
    }
  });
}

}  // namespace oq
