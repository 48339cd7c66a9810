// SPDX-License-Identifier: Apache-2.0
#include "Dispatch/BackgroundTask.h"

#include <unistd.h>

#include <condition_variable>
#include <mutex>
#include <utility>
#include <vector>

#include "Dispatch/DispatchQueue.h"

namespace oq {

struct BackgroundTask::State {
  enum class Phase { Waiting, Running, Over };
  explicit State(std::function<void()> task) : work(std::move(task)) {}
  const std::function<void()> work;
  const pid_t process = ::getpid();
  std::mutex mutex;
  std::condition_variable isOver;
  Phase phase = Phase::Waiting;

  void run() {
    {
      std::lock_guard lock(mutex);
      if (phase != Phase::Waiting) return;
      phase = Phase::Running;
    }
    work();
    std::lock_guard lock(mutex);
    phase = Phase::Over;
    isOver.notify_all();
  }

  void waitUntilOver() {
    std::unique_lock lock(mutex);
    isOver.wait(lock, [this] { return phase == Phase::Over; });
  }

  void cancelOrWait() {
    // A forked child does not have the threads of its parent, so waiting for the work would never end.
    if (::getpid() != process) return;
    {
      std::lock_guard lock(mutex);
      if (phase == Phase::Waiting) phase = Phase::Over;
    }
    waitUntilOver();
  }
};

BackgroundTask::BackgroundTask(std::function<void()> work) : _state(std::make_shared<State>(std::move(work))) {}

void BackgroundTask::start() {
  // When a thread exits the process, its thread_local objects are destroyed before any exit handler runs. So the work
  // has ended before a library's exit handler frees the data that the work uses.
  struct EndOfThread {
    std::vector<std::shared_ptr<State>> started;
    ~EndOfThread() {
      for (const auto& state : started) state->cancelOrWait();
    }
  };
  static thread_local EndOfThread endOfThread;
  endOfThread.started.push_back(_state);
  DispatchQueue::background().async([state = _state] { state->run(); });
}

void BackgroundTask::finish() {
  _state->run();
  _state->waitUntilOver();
}

}  // namespace oq
