// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>

#include "oqsdk/Export.h"

namespace oq {

/// Work that runs at most once, usually on a background thread. Use it to call libraries that free shared data at
/// process exit: when the thread that called start() ends, also by exiting the process, that thread waits for work that
/// is running and prevents work that has not begun. The work must not throw.
class OQSDK_EXPORT BackgroundTask {
 public:
  explicit BackgroundTask(std::function<void()> work);

  /// Queues the work. Call it once.
  void start();
  /// Returns when the work is done. Waits for the work if it is running; runs it on the calling thread if it has not
  /// begun.
  void finish();

 private:
  struct State;
  std::shared_ptr<State> _state;
};

}  // namespace oq
