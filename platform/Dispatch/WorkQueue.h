// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <utility>

#include "Dispatch/DispatchQueue.h"

namespace oq {

/// Runs one block after the other, in order of arrival. The "turn" is the right to run the queue's blocks; it belongs
/// to one job of the pool, or to the thread that called sync().
class SerialQueue final : public DispatchQueue {
 public:
  explicit SerialQueue(std::string label) : DispatchQueue(std::move(label)) {}

  void async(Block block) override;
  void sync(const Block& block) override;

 private:
  /// A queue entry for a thread that waits in sync(); that thread gets the turn when its entry is at the front.
  struct Waiter {
    std::condition_variable changed;
    bool hasTurn = false;
  };
  struct Entry {
    Block block;
    Waiter* waiter = nullptr;
  };

  void takeTurn();
  void runBlocks();
  void passTurnOn();
  void submitToPool();

  std::mutex _mutex;
  std::deque<Entry> _entries;
  bool _isTurnTaken = false;
};

/// Runs blocks in parallel on the pool.
class ConcurrentQueue final : public DispatchQueue {
 public:
  explicit ConcurrentQueue(std::string label) : DispatchQueue(std::move(label)) {}

  void async(Block block) override;
  void sync(const Block& block) override;
};

}  // namespace oq
