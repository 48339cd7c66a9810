#pragma once

#include <functional>
#include <memory>

#include "oqsdk/Export.h"

namespace oq {

/// Work that runs at most once, usually on a background thread. For work with libraries that free what their threads
/// share when the process ends: the end of the thread that called start() waits for work that has begun, and nothing
/// begins after it. The work must not throw.
class OQSDK_EXPORT BackgroundTask {
 public:
  explicit BackgroundTask(std::function<void()> work);

  /// Queues the work. To be called once.
  void start();
  /// Returns when the work is done: waits for work that has begun, and does on this thread what has not.
  void finish();

 private:
  struct State;
  std::shared_ptr<State> _state;
};

}  // namespace oq
