#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <utility>

#include "Dispatch/DispatchQueue.h"

namespace oq {

/// One block at a time, in the order in which they came. The queue's turn is held by whoever runs its blocks:
/// one job of the pool, or the thread that called sync().
class SerialQueue final : public DispatchQueue {
 public:
  explicit SerialQueue(std::string label) : DispatchQueue(std::move(label)) {}

  void async(Block block) override;
  void sync(const Block& block) override;

 private:
  /// Stands in line for a thread that waits in sync(); it gets the turn when it is at the front.
  struct Visitor {
    std::condition_variable changed;
    bool hasTurn = false;
  };
  struct Entry {
    Block block;
    Visitor* visitor = nullptr;
  };

  void takeTurn();
  void runBlocks();
  void passTurnOn();
  void submitToPool();

  std::mutex _mutex;
  std::deque<Entry> _entries;
  bool _isTurnTaken = false;
};

/// Blocks side by side on the pool.
class ConcurrentQueue final : public DispatchQueue {
 public:
  explicit ConcurrentQueue(std::string label) : DispatchQueue(std::move(label)) {}

  void async(Block block) override;
  void sync(const Block& block) override;
};

}  // namespace oq
