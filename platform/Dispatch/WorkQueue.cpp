// SPDX-License-Identifier: Apache-2.0
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
    // Out of memory: the caller gets the exception, and the queue is unchanged.
    _entries.pop_back();
    _isTurnTaken = false;
    throw;
  }
}

/// Runs the block on the caller's own thread, so that waiting for a queue needs no extra thread of the pool.
void SerialQueue::sync(const Block& block) {
  takeTurn();
  runAsCurrent(block);
  passTurnOn();
}

void SerialQueue::takeTurn() {
  std::unique_lock lock(_mutex);
  if (!std::exchange(_isTurnTaken, true)) return;
  Waiter waiter;
  _entries.push_back({nullptr, &waiter});
  WorkerPool::Waiting waiting;
  waiter.changed.wait(lock, [&] { return waiter.hasTurn; });
}

/// Runs the queued blocks up to the next waiter.
void SerialQueue::runBlocks() {
  std::unique_lock lock(_mutex);
  while (!_entries.empty() && !_entries.front().waiter) {
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
    if (Waiter* waiter = _entries.front().waiter) {
      _entries.pop_front();
      waiter->hasTurn = true;
      waiter->changed.notify_one();  // under the lock: once it is released, the waiter may be destroyed
      return;
    }
    try {
      return submitToPool();
    } catch (const std::bad_alloc&) {
    }
  }
  // Memory is short, so no other thread can run the blocks. The queue has accepted them, so this thread runs them.
  runBlocks();
}

void SerialQueue::submitToPool() {
  auto self = std::static_pointer_cast<SerialQueue>(shared_from_this());
  WorkerPool::shared().submit([self] { self->runBlocks(); }, WorkerPool::Share::SerialQueue);
}

void ConcurrentQueue::async(Block block) {
  auto self = std::static_pointer_cast<ConcurrentQueue>(shared_from_this());
  WorkerPool::shared().submit([self, block = std::move(block)] { self->runAsCurrent(block); },
                              WorkerPool::Share::ConcurrentQueue);
}

void ConcurrentQueue::sync(const Block& block) {
  runAsCurrent(block);
}

}  // namespace oq
