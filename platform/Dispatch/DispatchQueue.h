// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "oqsdk/Export.h"

namespace oq {

using Block = std::function<void()>;

/// What runs the main queue: GLib's default main context, or only the host's calls of drainMain().
enum class MainLoop { GLib, OfHost };

/// Runs blocks in order (serial) or in parallel (concurrent) on a shared pool of threads, or on the main loop. A queue
/// has a label and values by key, and a block can ask which queue it runs on. A block that throws ends the process, as
/// a thread that throws does. The pool's threads block all signals except those of faults. Thread-safe.
class OQSDK_EXPORT DispatchQueue : public std::enable_shared_from_this<DispatchQueue> {
 public:
  /// The main queue: runs its blocks one after the other, in order, on the thread that installed the host, while that
  /// thread runs GLib's default main context or calls drainMain().
  static DispatchQueue& main();
  static std::shared_ptr<DispatchQueue> serial(std::string label);
  static std::shared_ptr<DispatchQueue> concurrent(std::string label);
  /// The concurrent queue for background work, shared by the whole process.
  static DispatchQueue& background();

  /// Queues the block; never blocks the caller.
  virtual void async(Block block) = 0;
  /// Runs the block on the queue and waits until it has ended. The main queue's blocks run on the main thread; a block
  /// of any other queue runs on the calling thread. From another thread, sync() on the main queue needs a running main
  /// loop. Calling sync() on the serial queue that the caller runs on is a programming error (it would never return).
  virtual void sync(const Block& block) = 0;
  /// Queues the block after a delay in seconds of the monotonic clock. With a delay of 0 or less it is the same as
  /// async().
  void after(double seconds, Block block);

  /// The queue's label. Labels are compared by address, not by contents.
  const char* label() const;
  /// The label of the queue whose block runs on this thread. On the main thread, outside any other queue's block, it is
  /// the main queue's label. Otherwise it is a label that belongs to no queue. Before installMain() no thread is the
  /// main thread.
  static const char* currentLabel();

  /// Stores a value of this queue for the key. Keys are compared by address.
  void setSpecific(const void* key, void* value);
  /// The current queue's value for the key; nullptr if there is no such value.
  static void* currentSpecific(const void* key);

  virtual ~DispatchQueue();

  /// Makes the calling thread the main thread. With MainLoop::GLib the main queue also gets a source on GLib's default
  /// main context, which runs blocks on this thread only. Called once, when a host is installed; a later call moves the
  /// queue to the calling thread. Blocks queued earlier are kept.
  static void installMain(MainLoop loop = MainLoop::GLib);
  /// Runs the blocks that are queued on the main queue now, but not blocks that these add. Returns how many blocks ran.
  /// Stops early after a block that ends `seconds` or more after the call. For hosts that run their own loop; main
  /// thread only.
  static std::size_t drainMain(double seconds = std::numeric_limits<double>::infinity());
  /// Whether no block waits on the main queue. Any thread.
  static bool isMainEmpty();
  /// `wake` is called, on any thread, each time a block is added to an empty main queue, and at once if the queue is
  /// not empty now. The library holds no lock during the call. `wake` must not throw or call setMainWake(). When this
  /// function returns, no call of the former `wake` is running.
  static void setMainWake(std::function<void()> wake);

 protected:
  explicit DispatchQueue(std::string label);
  void runAsCurrent(const Block& block) noexcept;

 private:
  const std::string _label;
  std::mutex _specificsMutex;
  std::map<const void*, void*> _specifics;
};

/// Runs a block on the main queue repeatedly, or once, until it is cancelled or destroyed. Accurate to well below a
/// millisecond (timerfd). Thread-safe.
class OQSDK_EXPORT DispatchTimer {
 public:
  explicit DispatchTimer(Block handler);
  /// Cancels. The handler may still be running on another thread when this returns.
  ~DispatchTimer();
  DispatchTimer(const DispatchTimer&) = delete;
  DispatchTimer& operator=(const DispatchTimer&) = delete;

  /// Fires first after `startNanoseconds`, then every `intervalNanoseconds`; an interval of 0 means only once. Replaces
  /// an earlier setting.
  void setTimer(std::int64_t startNanoseconds, std::uint64_t intervalNanoseconds);
  /// Permanent: later calls of setTimer() have no effect.
  void cancel();

 private:
  class Impl;
  std::shared_ptr<Impl> _impl;
};

}  // namespace oq
