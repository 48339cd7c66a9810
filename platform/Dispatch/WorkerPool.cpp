// SPDX-License-Identifier: Apache-2.0
#include "Dispatch/WorkerPool.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

#include "Dispatch/BackgroundThread.h"

namespace oq {

namespace {

/// A thread ends when it has had no work for this long.
constexpr auto kIdleTime = std::chrono::seconds(10);
/// A thread that has just finished a job spins for this long: jobs often come in bursts, and waking a thread would be
/// the largest part of the delay.
constexpr auto kSpinTime = std::chrono::microseconds(20);

thread_local bool inConcurrentJob = false;

}  // namespace

WorkerPool& WorkerPool::shared() {
  static auto* pool = new WorkerPool;
  return *pool;
}

WorkerPool::WorkerPool()
    : _concurrentLimit(std::max(4U, std::thread::hardware_concurrency())),
      _hasSeveralCores(std::thread::hardware_concurrency() > 1) {}

void WorkerPool::submit(Job job, Share share) {
  std::lock_guard lock(_mutex);
  (share == Share::SerialQueue ? _serialJobs : _concurrentJobs).push_back(std::move(job));
  startThreadIfNeeded();
}

std::size_t WorkerPool::runnableJobs() const {
  std::size_t places = _concurrentLimit - std::min(_concurrentLimit, _concurrentRunning);
  return _serialJobs.size() + std::min(_concurrentJobs.size(), places);
}

void WorkerPool::startThreadIfNeeded() {
  if (runnableJobs() == 0) return;
  if (_isSpinning) _hasNewWork.store(true, std::memory_order_relaxed);
  if (_isSpinning && runnableJobs() == 1) return;
  if (_freeThreads >= runnableJobs()) return _workArrived.notify_one();
  // If no thread can be started, the job waits for the next free one.
  if (startBackgroundThread("oq-worker", [this] { runThread(); })) ++_freeThreads;
}

bool WorkerPool::takeJob(Job& job, Share& share) {
  if (runnableJobs() == 0) return false;
  share = _serialJobs.empty() ? Share::ConcurrentQueue : Share::SerialQueue;
  auto& jobs = share == Share::SerialQueue ? _serialJobs : _concurrentJobs;
  job = std::move(jobs.front());
  jobs.pop_front();
  return true;
}

/// Spins for a moment until a job is submitted, so that submit() need not wake a thread.
void WorkerPool::spinForWork(std::unique_lock<std::mutex>& lock) {
  if (!_hasSeveralCores || _isSpinning || runnableJobs() > 0) return;
  _isSpinning = true;
  _hasNewWork.store(false, std::memory_order_relaxed);
  lock.unlock();
  const auto end = std::chrono::steady_clock::now() + kSpinTime;
  // Does not yield: on a busy machine this thread would get the processor back only after milliseconds.
  while (!_hasNewWork.load(std::memory_order_relaxed) && std::chrono::steady_clock::now() < end) {
  }
  lock.lock();
  _isSpinning = false;
}

void WorkerPool::runThread() {
  std::unique_lock lock(_mutex);
  while (_workArrived.wait_for(lock, kIdleTime, [this] { return runnableJobs() > 0; })) {
    Job job;
    Share share;
    if (!takeJob(job, share)) continue;
    bool isConcurrent = share == Share::ConcurrentQueue;
    --_freeThreads;
    if (isConcurrent) ++_concurrentRunning;
    lock.unlock();

    inConcurrentJob = isConcurrent;
    job();
    job = nullptr;  // destroys the job's captures outside the lock
    inConcurrentJob = false;

    lock.lock();
    if (isConcurrent) --_concurrentRunning;
    ++_freeThreads;
    spinForWork(lock);
  }
  --_freeThreads;
}

WorkerPool::Waiting::Waiting() {
  if (!inConcurrentJob) return;
  auto& pool = shared();
  std::lock_guard lock(pool._mutex);
  --pool._concurrentRunning;
  pool.startThreadIfNeeded();
}

WorkerPool::Waiting::~Waiting() {
  if (!inConcurrentJob) return;
  auto& pool = shared();
  std::lock_guard lock(pool._mutex);
  ++pool._concurrentRunning;
}

}  // namespace oq
