// SPDX-License-Identifier: Apache-2.0
#include "Dispatch/MainQueue.h"

#include <glib.h>

#include <chrono>
#include <condition_variable>
#include <limits>
#include <utility>

#include "Dispatch/WorkerPool.h"

namespace oq {

namespace {

/// The priority at which GTK redraws. With a higher priority, a block that posts itself again would prevent all
/// painting. With the same priority the loop serves both in turn, and input still comes first.
constexpr int kSourcePriority = G_PRIORITY_HIGH_IDLE + 20;
constexpr double kUnlimited = std::numeric_limits<double>::infinity();

/// Another thread may iterate the default context, too. For that thread the source is never ready: the thread must not
/// run blocks, and a source that stays ready would keep the thread busy.
gboolean isSourceReady(GSource*) noexcept {
  const MainQueue& queue = MainQueue::shared();
  return !queue.isEmpty() && queue.isMainThread();
}

gboolean prepareSource(GSource* source, gint* timeout) noexcept {
  *timeout = -1;
  return isSourceReady(source);
}

gboolean dispatchSource(GSource*, GSourceFunc, gpointer) noexcept {
  MainQueue::shared().runWaitingBlocks(kUnlimited);
  return G_SOURCE_CONTINUE;
}

}  // namespace

MainQueue& MainQueue::shared() {
  static auto* queue = new std::shared_ptr<MainQueue>(std::make_shared<MainQueue>("oq.main"));
  return **queue;
}

void MainQueue::install(MainLoop loop) {
  _mainThread.store(std::this_thread::get_id(), std::memory_order_release);
  std::lock_guard lock(_mutex);
  if (loop == MainLoop::GLib && !_source) attach();
  if (loop == MainLoop::OfHost && _source) {
    g_source_destroy(_source);
    g_source_unref(std::exchange(_source, nullptr));
  }
}

void MainQueue::attach() {
  static GSourceFuncs functions{prepareSource, isSourceReady, dispatchSource, nullptr, nullptr, nullptr};
  _source = g_source_new(&functions, sizeof(GSource));
  g_source_set_name(_source, label());
  g_source_set_priority(_source, kSourcePriority);
  // If a block runs the loop itself, as a modal dialogue does, the blocks after it still run.
  g_source_set_can_recurse(_source, TRUE);
  g_source_attach(_source, nullptr);
}

void MainQueue::setWake(std::function<void()> wake) {
  auto next = wake ? std::make_shared<Wake>() : nullptr;
  if (next) next->call = std::move(wake);
  std::shared_ptr<Wake> former;  // destroyed after the lock is released: destroying its function may post blocks
  std::unique_lock lock(_mutex);
  former = std::exchange(_wake, next);
  if (next && !_blocks.empty()) callWake(lock);
  while (former && former->running > 0) _wakeEnded.wait(lock);
}

void MainQueue::async(Block block) {
  std::unique_lock lock(_mutex);
  _blocks.push_back(std::move(block));
  _count.store(_blocks.size(), std::memory_order_release);
  if (_blocks.size() > 1) return;
  if (_source) g_main_context_wakeup(nullptr);
  callWake(lock);
}

/// Calls the host's function without holding the lock, so that the function may use the queue.
void MainQueue::callWake(std::unique_lock<std::mutex>& lock) {
  auto wake = _wake;
  if (!wake) return;
  ++wake->running;
  lock.unlock();
  wake->call();
  lock.lock();
  --wake->running;
  _wakeEnded.notify_all();
  lock.unlock();
  wake.reset();
  lock.lock();
}

void MainQueue::sync(const Block& block) {
  // The calling thread runs the block if it is the main thread, or if there is no main thread yet.
  if (isMainThread() || !isInstalled()) return runAsCurrent(block);
  std::mutex mutex;
  std::condition_variable changed;
  bool isDone = false;
  async([&] {
    if (block) block();
    std::lock_guard lock(mutex);
    isDone = true;
    changed.notify_one();  // under the lock: once it is released, sync() may return and destroy `changed`
  });
  std::unique_lock lock(mutex);
  WorkerPool::Waiting waiting;
  changed.wait(lock, [&] { return isDone; });
}

std::size_t MainQueue::runWaitingBlocks(double seconds) {
  using Clock = std::chrono::steady_clock;
  const bool isLimited = seconds < kUnlimited;
  const auto began = isLimited ? Clock::now() : Clock::time_point();
  std::uint64_t end;
  {
    std::lock_guard lock(_mutex);
    end = _takenBlocks + _blocks.size();
  }
  std::size_t ran = 0;
  Block block;
  while (takeBlock(end, block)) {
    runAsCurrent(block);
    block = nullptr;
    ++ran;
    if (isLimited && std::chrono::duration<double>(Clock::now() - began).count() >= seconds) break;
  }
  return ran;
}

/// Takes one block at a time from the queue. If the block runs a nested main loop, that loop continues with the next
/// block in order.
bool MainQueue::takeBlock(std::uint64_t end, Block& block) {
  std::lock_guard lock(_mutex);
  if (_takenBlocks >= end) return false;
  block = std::move(_blocks.front());
  _blocks.pop_front();
  ++_takenBlocks;
  _count.store(_blocks.size(), std::memory_order_release);
  return true;
}

}  // namespace oq
