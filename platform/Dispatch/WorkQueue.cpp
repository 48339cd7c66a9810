#include "Dispatch/WorkQueue.h"

#include <new>
#include <utility>

#include "Dispatch/WorkerPool.h"

namespace oq {

void SerialQueue::async(Block block) {
  std::lock_guard lock(_mutex);
  _entries.push_back({std::move(block)});
  if (std::exchange(_isTurnTaken, true)) return;
  try {
    submitToPool();
  } catch (...) {
    // Out of memory: the caller hears of it, and the queue is as it was.
    _entries.pop_back();
    _isTurnTaken = false;
    throw;
  }
}

/// The block runs on the caller's own thread, so that waiting for a queue needs no further thread of the
/// pool.
void SerialQueue::sync(const Block& block) {
  takeTurn();
  runAsCurrent(block);
  passTurnOn();
}

void SerialQueue::takeTurn() {
  std::unique_lock lock(_mutex);
  if (!std::exchange(_isTurnTaken, true)) return;
  Visitor visitor;
  _entries.push_back({nullptr, &visitor});
  WorkerPool::Waiting waiting;
  visitor.changed.wait(lock, [&] { return visitor.hasTurn; });
}

/// Runs what is in line up to the next visitor.
void SerialQueue::runBlocks() {
  std::unique_lock lock(_mutex);
  while (!_entries.empty() && !_entries.front().visitor) {
    Block block = std::move(_entries.front().block);
    _entries.pop_front();
    lock.unlock();
    runAsCurrent(block);
    block = nullptr;
    lock.lock();
  }
  lock.unlock();
  passTurnOn();
}

void SerialQueue::passTurnOn() {
  {
    std::lock_guard lock(_mutex);
    if (_entries.empty()) {
      _isTurnTaken = false;
      return;
    }
    if (Visitor* visitor = _entries.front().visitor) {
      _entries.pop_front();
      visitor->hasTurn = true;
      visitor->changed.notify_one();  // under the lock: the visitor is gone as soon as it can go on
      return;
    }
    try {
      return submitToPool();
    } catch (const std::bad_alloc&) {
    }
  }
  // No memory for a job: what stands in line was taken in, and runs here.
  runBlocks();
}

void SerialQueue::submitToPool() {
  auto self = std::static_pointer_cast<SerialQueue>(shared_from_this());
  WorkerPool::shared().submit([self] { self->runBlocks(); }, WorkerPool::Share::serialQueue);
}

void ConcurrentQueue::async(Block block) {
  auto self = std::static_pointer_cast<ConcurrentQueue>(shared_from_this());
  WorkerPool::shared().submit([self, block = std::move(block)] { self->runAsCurrent(block); },
                              WorkerPool::Share::concurrentQueue);
}

void ConcurrentQueue::sync(const Block& block) {
  runAsCurrent(block);
}

}  // namespace oq
