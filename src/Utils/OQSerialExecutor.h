// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <deque>
#include <functional>
#include <mutex>
#include <utility>

#include "Utils/OQGuard.h"

namespace oq {

/// Runs work items one after the other, in order of arrival. Holds no lock while an item runs, and no caller waits: if
/// another thread is already running items, that thread also runs the new one. Items added by an item run after it. No
/// std::exception reaches the caller.
class OQSerialExecutor {
 public:
  using Work = std::function<void()>;

  void run(Work work) {
    {
      std::lock_guard lock(_mutex);
      _waiting.push_back(std::move(work));
      if (std::exchange(_isRunning, true)) return;
    }
    while (Work next = takeNext()) guarded(next);
  }

 private:
  Work takeNext() {
    std::lock_guard lock(_mutex);
    if (_waiting.empty()) {
      _isRunning = false;
      return nullptr;
    }
    Work next = std::move(_waiting.front());
    _waiting.pop_front();
    return next;
  }

  std::mutex _mutex;
  std::deque<Work> _waiting;
  bool _isRunning = false;
};

}  // namespace oq
