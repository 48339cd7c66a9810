// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>

#include "oqsdk/Export.h"

namespace oq {

/// Work that runs at most once, usually on a background thread. Use it for libraries that free, at process exit, data
/// that their threads share: the exit of the thread that called start() waits for work that is running, and work that
/// has not begun by then never begins. The work must not throw.
class OQSDK_EXPORT BackgroundTask {
 public:
  explicit BackgroundTask(std::function<void()> work);

  /// Queues the work. Call it once.
  void start();
  /// Returns when the work is done. Waits for work that is running; runs work that has not begun on the calling thread.
  void finish();

 private:
  struct State;
  std::shared_ptr<State> _state;
};

}  // namespace oq
