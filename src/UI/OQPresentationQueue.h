// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <deque>
#include <functional>

namespace oq {

/// Holds messages, whose displays are already counted, until the key window is visible to the user. They are presented
/// in order of arrival, each in the window that is then the key window.
///
/// If no window is attached, there is nothing to wait for, and a message is presented immediately, in no window. A
/// message that already waits continues to wait when the last window is closed: it appears in the next window that is
/// attached. Main queue only.
class OQPresentationQueue {
 public:
  static OQPresentationQueue& shared();

  /// Runs `present` immediately, or later from the main queue when the key window is visible.
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
