#pragma once

#include <deque>
#include <functional>

namespace oq {

/// Where a message waits from being counted until the user can see it: until the key window is on screen. Messages that
/// wait appear in the order in which they came, each in the window that is the key window by then.
///
/// With no window attached there is nothing to wait for, and a message is presented at once, to no window. A message
/// that waits already goes on waiting when the last window is closed: it appears in the next one that is attached.
/// Main queue only.
class OQPresentationQueue {
 public:
  static OQPresentationQueue& shared();

  /// Runs `present` at once or, from the main queue, when the message can be seen.
  void add(std::function<void()> present);

 private:
  OQPresentationQueue();
  static bool isOpen();
  void runLater();
  void run();

  std::deque<std::function<void()>> _waiting;
  bool _running = false;  ///< run() is queued
};

}  // namespace oq
