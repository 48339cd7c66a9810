#include "Dispatch/WorkerPool.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

#include "Dispatch/BackgroundThread.h"

namespace oq {

namespace {

/// A thread without work for so long ends.
constexpr auto idleTime = std::chrono::seconds(10);
/// One that has just worked stays awake for so long: work comes in rows, and whoever submits it would wait longer for
/// the system to wake a thread than for all else.
constexpr auto lookOutTime = std::chrono::microseconds(20);

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
  (share == Share::serialQueue ? _serialJobs : _concurrentJobs).push_back(std::move(job));
  startThreadIfNeeded();
}

std::size_t WorkerPool::runnableJobs() const {
  std::size_t places = _concurrentLimit - std::min(_concurrentLimit, _concurrentRunning);
  return _serialJobs.size() + std::min(_concurrentJobs.size(), places);
}

void WorkerPool::startThreadIfNeeded() {
  if (runnableJobs() == 0) return;
  if (_someoneLooksOut) _isWorkThere.store(true, std::memory_order_relaxed);
  if (_someoneLooksOut && runnableJobs() == 1) return;
  if (_freeThreads >= runnableJobs()) return _workArrived.notify_one();
  // Without a thread to be had, the job waits for the next one that becomes free.
  if (startBackgroundThread("oq-worker", [this] { runThread(); })) ++_freeThreads;
}

bool WorkerPool::takeJob(Job& job, Share& share) {
  if (runnableJobs() == 0) return false;
  share = _serialJobs.empty() ? Share::concurrentQueue : Share::serialQueue;
  auto& jobs = share == Share::serialQueue ? _serialJobs : _concurrentJobs;
  job = std::move(jobs.front());
  jobs.pop_front();
  return true;
}

/// Stays awake for a moment, and ends it when a job is submitted, which then need not wake anybody.
void WorkerPool::lookOutForWork(std::unique_lock<std::mutex>& lock) {
  if (!_hasSeveralCores || _someoneLooksOut || runnableJobs() > 0) return;
  _someoneLooksOut = true;
  _isWorkThere.store(false, std::memory_order_relaxed);
  lock.unlock();
  const auto end = std::chrono::steady_clock::now() + lookOutTime;
  // Without giving way: on a busy machine the turn would come back after milliseconds, in which the job waits.
  while (!_isWorkThere.load(std::memory_order_relaxed) && std::chrono::steady_clock::now() < end) {
  }
  lock.lock();
  _someoneLooksOut = false;
}

void WorkerPool::runThread() {
  std::unique_lock lock(_mutex);
  while (_workArrived.wait_for(lock, idleTime, [this] { return runnableJobs() > 0; })) {
    Job job;
    Share share;
    if (!takeJob(job, share)) continue;
    bool isConcurrent = share == Share::concurrentQueue;
    --_freeThreads;
    if (isConcurrent) ++_concurrentRunning;
    lock.unlock();

    inConcurrentJob = isConcurrent;
    job();
    job = nullptr;  // what the job held is let go of outside the lock
    inConcurrentJob = false;

    lock.lock();
    if (isConcurrent) --_concurrentRunning;
    ++_freeThreads;
    lookOutForWork(lock);
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
