#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>

namespace oq {

/// The threads under all queues but the main one. They are made when work waits and none is free.
///
/// Work of concurrent queues keeps at most max(4, cores) threads busy. A serial queue with work always gets a
/// thread, and a thread that waits for another queue does not count, so that neither kind can wait for the
/// other for ever.
class WorkerPool {
 public:
  enum class Share { serialQueue, concurrentQueue };
  using Job = std::function<void()>;

  /// Never destroyed: threads may be at work while the process ends.
  static WorkerPool& shared();

  void submit(Job job, Share share);

  /// While it lives, the calling thread counts as idle: it waits for another queue. Does nothing on other
  /// threads.
  class Waiting {
   public:
    Waiting();
    ~Waiting();
    Waiting(const Waiting&) = delete;
    Waiting& operator=(const Waiting&) = delete;
  };

 private:
  WorkerPool();
  void runThread();
  bool takeJob(Job& job, Share& share);
  std::size_t runnableJobs() const;
  void startThreadIfNeeded();
  void lookOutForWork(std::unique_lock<std::mutex>& lock);

  const std::size_t _concurrentLimit;
  const bool _hasSeveralCores;
  std::mutex _mutex;
  std::condition_variable _workArrived;
  std::deque<Job> _serialJobs;
  std::deque<Job> _concurrentJobs;
  std::size_t _freeThreads = 0;           ///< threads that will look for a job next
  bool _someoneLooksOut = false;          ///< one of them is awake, and takes the next job without being woken
  std::atomic<bool> _isWorkThere{false};  ///< tells that one
  std::size_t _concurrentRunning = 0;     ///< threads in a concurrent queue's job and not waiting for another queue
};

}  // namespace oq
