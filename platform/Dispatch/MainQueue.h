// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include "Dispatch/DispatchQueue.h"

using GSource = struct _GSource;

namespace oq {

/// One source on GLib's default main context, with its own queue of blocks. Blocks wait until install() is called.
class MainQueue final : public DispatchQueue {
 public:
  explicit MainQueue(std::string label) : DispatchQueue(std::move(label)) {}

  /// Never destroyed: blocks may still be queued while the process exits.
  static MainQueue& shared();

  void async(Block block) override;
  void sync(const Block& block) override;

  void install();
  bool isMainThread() const { return _mainThread.load(std::memory_order_acquire) == std::this_thread::get_id(); }
  bool isInstalled() const { return _mainThread.load(std::memory_order_acquire) != std::thread::id(); }
  /// Runs the blocks that are queued now, not those that they add, and returns their number.
  std::size_t runWaitingBlocks();

 private:
  bool takeBlock(std::uint64_t end, Block& block);

  std::atomic<std::thread::id> _mainThread{};
  std::mutex _mutex;
  std::deque<Block> _blocks;
  std::uint64_t _takenBlocks = 0;
  GSource* _source = nullptr;  ///< ready exactly while blocks are queued
};

}  // namespace oq
