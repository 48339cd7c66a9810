// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <deque>
#include <functional>

namespace oq {

/// Holds messages, whose displays are already counted, until the key window is visible to the user. They are presented
/// in order of arrival, each in the window that is then the key window.
///
/// If no window is attached, there is nothing to wait for, and a message is presented immediately, in no window. A
/// message that already waits for a window continues to wait when the last window is closed: it appears in the next
/// window that is attached. The host can also hold all messages of campaigns. Main queue only, except where noted.
class OQPresentationQueue {
 public:
  static OQPresentationQueue& shared();

  /// Tools for developers are never held.
  enum class Kind { Campaign, Tool };
  /// Runs `present` immediately, or later from the main queue when the key window is visible.
  void add(Kind kind, std::function<void()> present);
  /// While held, no message of a campaign is presented. After setHeld(false), call presentSoon(). Any thread.
  static void setHeld(bool isHeld) { _isHeld = isHeld; }
  /// Presents the messages that need not wait any more, from the main queue. Any thread.
  static void presentSoon();
  /// Drops the waiting messages of campaigns.
  void removeCampaigns();

 private:
  struct Entry {
    Kind kind;
    bool waitsForWindow;
    std::function<void()> present;
  };

  OQPresentationQueue();
  bool mayRun(const Entry& entry) const;
  void runLater();
  void run();

  std::deque<Entry> _waiting;
  bool _running = false;  ///< run() is queued
  static inline std::atomic<bool> _isHeld{false};
};

}  // namespace oq
