#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "oqsdk/Export.h"

namespace oq {

using Block = std::function<void()>;

/// Work in order (serial) or side by side (concurrent) on a shared pool of threads, or on the main loop.
/// Queues have labels and values by key, and a block can ask which queue it runs on. Blocks that throw end
/// the process, as a thread that throws does. The pool's threads block all signals. Any thread may use any
/// queue.
class OQSDK_EXPORT DispatchQueue : public std::enable_shared_from_this<DispatchQueue> {
 public:
  /// The main queue: blocks run one at a time, in order, on the thread that installed the host, when GLib's
  /// default main context is spun there.
  static DispatchQueue& main();
  static std::shared_ptr<DispatchQueue> serial(std::string label);
  static std::shared_ptr<DispatchQueue> concurrent(std::string label);
  /// A process-wide concurrent queue of background priority.
  static DispatchQueue& background();

  /// Queues the block; the caller never waits.
  virtual void async(Block block) = 0;
  /// Runs the block on the queue and waits for its end. On the main queue from another thread it needs the
  /// loop to run. Calling it on the serial queue that one is running on is a programmer's error (it would
  /// never end). The block runs on the calling thread when it has its turn; only the main queue's run on the
  /// main thread.
  virtual void sync(const Block& block) = 0;
  /// Queues the block after a delay in seconds (monotonic); 0 or less is async().
  void after(double seconds, Block block);

  /// Compared by address, not by text.
  const char* label() const;
  /// The label of the queue whose block is running on this thread; the main queue's on the main thread
  /// outside any other queue's block; otherwise a label that belongs to no queue. No thread is the main
  /// thread before installMain().
  static const char* currentLabel();

  /// A value by key; keys are addresses.
  void setSpecific(const void* key, void* value);
  /// The value of the running queue; nullptr when it has none.
  static void* currentSpecific(const void* key);

  virtual ~DispatchQueue();

  /// Makes the calling thread the main thread and starts the main queue on GLib's default main context. Hosts
  /// call it once when they are installed; a later call moves the queue to the calling thread. Blocks that
  /// came before are kept.
  static void installMain();
  /// Runs the blocks that wait on the main queue now and returns how many there were. For hosts that spin
  /// their own loop; on the main thread only.
  static std::size_t drainMain();

 protected:
  explicit DispatchQueue(std::string label);
  void runAsCurrent(const Block& block) noexcept;

 private:
  const std::string _label;
  std::mutex _specificsMutex;
  std::map<const void*, void*> _specifics;
};

/// Runs a block on the main queue again and again, or once, until it is cancelled or dropped. Precise to well
/// below a millisecond (timerfd). Any thread may make, set or cancel it.
class OQSDK_EXPORT DispatchTimer {
 public:
  explicit DispatchTimer(Block handler);
  /// Cancels. A handler that is running on another thread may still be running when this returns.
  ~DispatchTimer();
  DispatchTimer(const DispatchTimer&) = delete;
  DispatchTimer& operator=(const DispatchTimer&) = delete;

  /// First firing after `start` nanoseconds, then every `interval` nanoseconds; interval 0 fires once.
  /// Replaces an earlier setting.
  void setTimer(std::int64_t startNanoseconds, std::uint64_t intervalNanoseconds);
  /// For good: later settings do nothing.
  void cancel();

 private:
  class Impl;
  std::shared_ptr<Impl> _impl;
};

}  // namespace oq
