// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include "Dispatch/DispatchQueue.h"

using GSource = struct _GSource;

namespace oq {

/// The blocks of the main thread. Blocks wait until install() is called. They run when the host calls drainMain(), or
/// from a source on GLib's default main context.
class MainQueue final : public DispatchQueue {
 public:
  explicit MainQueue(std::string label) : DispatchQueue(std::move(label)) {}

  /// Never destroyed: blocks may still be queued while the process exits.
  static MainQueue& shared();

  void async(Block block) override;
  void sync(const Block& block) override;

  void install(MainLoop loop);
  void setWake(std::function<void()> wake);
  bool isMainThread() const { return _mainThread.load(std::memory_order_acquire) == std::this_thread::get_id(); }
  bool isInstalled() const { return _mainThread.load(std::memory_order_acquire) != std::thread::id(); }
  bool isEmpty() const { return _count.load(std::memory_order_acquire) == 0; }
  /// Runs the blocks that are queued now, but not blocks that these add. Returns how many blocks ran. Stops after
  /// `seconds`, but runs at least one block if any is queued.
  std::size_t runWaitingBlocks(double seconds);

 private:
  struct Wake {
    std::function<void()> call;
    int running = 0;
  };
  void attach();
  bool takeBlock(std::uint64_t end, Block& block);
  void callWake(std::unique_lock<std::mutex>& lock);

  std::atomic<std::thread::id> _mainThread{};
  std::mutex _mutex;
  std::deque<Block> _blocks;
  std::atomic<std::size_t> _count{0};  ///< the size of _blocks
  std::uint64_t _takenBlocks = 0;
  GSource* _source = nullptr;
  std::shared_ptr<Wake> _wake;
  std::condition_variable _wakeEnded;
};

}  // namespace oq
