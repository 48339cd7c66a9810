// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>

namespace oq {

/// The threads of all queues but the main one. A thread is created when work waits and no thread is free.
///
/// The work of concurrent queues keeps at most max(4, cores) threads busy. A serial queue with work always gets a
/// thread, and a thread that waits for another queue does not count towards the limit, so neither kind can block the
/// other for ever.
class WorkerPool {
 public:
  enum class Share { SerialQueue, ConcurrentQueue };
  using Job = std::function<void()>;

  /// Never destroyed: threads may still run while the process exits.
  static WorkerPool& shared();

  void submit(Job job, Share share);

  /// While an object of this class exists, the thread that created it counts as idle, because it waits for another
  /// queue. Has no effect on threads outside the pool.
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
  void spinForWork(std::unique_lock<std::mutex>& lock);

  const std::size_t _concurrentLimit;
  const bool _hasSeveralCores;
  std::mutex _mutex;
  std::condition_variable _workArrived;
  std::deque<Job> _serialJobs;
  std::deque<Job> _concurrentJobs;
  std::size_t _freeThreads = 0;          ///< threads that will look for a job next
  bool _isSpinning = false;              ///< one free thread spins, and takes the next job without being woken
  std::atomic<bool> _hasNewWork{false};  ///< ends the spinning
  std::size_t _concurrentRunning = 0;  ///< threads that run a concurrent queue's job and do not wait for another queue
};

}  // namespace oq
