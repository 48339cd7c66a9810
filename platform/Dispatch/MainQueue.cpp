// SPDX-License-Identifier: Apache-2.0
#include "Dispatch/MainQueue.h"

#include <glib.h>

#include <condition_variable>
#include <utility>

#include "Dispatch/WorkerPool.h"

namespace oq {

namespace {

/// The priority at which GTK redraws. With a higher priority, a block that posts itself again would prevent all
/// painting. With the same priority the loop serves both in turn, and input still comes first.
constexpr int kSourcePriority = G_PRIORITY_HIGH_IDLE + 20;

gboolean dispatchSource(GSource*, GSourceFunc, gpointer) noexcept {
  MainQueue::shared().runWaitingBlocks();
  return G_SOURCE_CONTINUE;
}

}  // namespace

MainQueue& MainQueue::shared() {
  static auto* queue = new std::shared_ptr<MainQueue>(std::make_shared<MainQueue>("oq.main"));
  return **queue;
}

void MainQueue::install() {
  _mainThread.store(std::this_thread::get_id(), std::memory_order_release);
  std::lock_guard lock(_mutex);
  if (_source) return;
  static GSourceFuncs functions{nullptr, nullptr, dispatchSource, nullptr, nullptr, nullptr};
  _source = g_source_new(&functions, sizeof(GSource));
  g_source_set_name(_source, label());
  g_source_set_priority(_source, kSourcePriority);
  // If a block runs the loop itself, as a modal dialogue does, the blocks after it still run.
  g_source_set_can_recurse(_source, TRUE);
  g_source_attach(_source, nullptr);
  if (!_blocks.empty()) g_source_set_ready_time(_source, 0);
}

void MainQueue::async(Block block) {
  std::lock_guard lock(_mutex);
  _blocks.push_back(std::move(block));
  if (_blocks.size() == 1 && _source) g_source_set_ready_time(_source, 0);
}

void MainQueue::sync(const Block& block) {
  // The calling thread must run it: it is the main thread, or there is no main thread yet.
  if (isMainThread() || !isInstalled()) return runAsCurrent(block);
  std::mutex mutex;
  std::condition_variable changed;
  bool isDone = false;
  async([&] {
    if (block) block();
    std::lock_guard lock(mutex);
    isDone = true;
    changed.notify_one();  // under the lock: the waiting stack frame may be gone right after it is released
  });
  std::unique_lock lock(mutex);
  WorkerPool::Waiting waiting;
  changed.wait(lock, [&] { return isDone; });
}

std::size_t MainQueue::runWaitingBlocks() {
  std::uint64_t begin;
  std::uint64_t end;
  {
    std::lock_guard lock(_mutex);
    begin = _takenBlocks;
    end = begin + _blocks.size();
  }
  Block block;
  while (takeBlock(end, block)) {
    runAsCurrent(block);
    block = nullptr;
  }
  return end - begin;
}

/// Blocks are taken one by one from the common queue, so a loop that a block runs keeps their order.
bool MainQueue::takeBlock(std::uint64_t end, Block& block) {
  std::lock_guard lock(_mutex);
  if (_takenBlocks >= end) return false;
  block = std::move(_blocks.front());
  _blocks.pop_front();
  ++_takenBlocks;
  if (_blocks.empty() && _source) g_source_set_ready_time(_source, -1);
  return true;
}

}  // namespace oq
