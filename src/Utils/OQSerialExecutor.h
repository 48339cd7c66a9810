#pragma once

#include <deque>
#include <functional>
#include <mutex>
#include <utility>

#include "Utils/OQGuard.h"

namespace oq {

/// Does pieces of work one at a time, in the order in which they came, without a lock held meanwhile and
/// without anybody waiting: a thread that comes while another is at work leaves its piece to that one. Work
/// that brings more work has it done afterwards. No exception reaches the caller.
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
