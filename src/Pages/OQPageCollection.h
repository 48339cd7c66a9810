// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "oqsdk/Runtime.h"

namespace oq {

/// Notices every screen that appears, and passes the class names of the host's screens, its pages, to an observer.
///
/// Threads: screens appear on the main thread; they are processed later, in order, on the serial queue of
/// OQDispatchQueueManager. The page's name may be read on any thread. Only the class of a screen is kept, not the
/// screen.
class OQPageCollection : public Object {
  OQ_CLASS(OQPageCollection)

 public:
  /// Created at the first call and never destroyed.
  static OQPageCollection& sharedInstance();
  OQPageCollection() = default;

  /// Both functions are called on the serial queue. canCollectViewController() also calls isCollecting(), on the thread
  /// of its caller. If isCollecting is empty, pages are collected; if pageCollected is empty, no page is reported.
  struct Observer {
    std::function<bool()> isCollecting;
    std::function<void(const std::string& name)> pageCollected;
  };
  void setObserver(Observer observer);

  /// Hooks viewDidAppear and viewWillDisappear of all screens; a second call has no effect. On any other thread than
  /// the main thread, the call waits for the main queue.
  static void collectPage();

  /// To be called when a screen has appeared. Queues the following: if canCollectViewController() is true, the screen's
  /// class name becomes pageName() and is passed to the observer. A system screen is ignored. The class name of any
  /// other screen becomes pageName(), but is not passed on.
  void viewDidAppear(const Object& screen);
  /// Queues a task without any effect; this is intentional.
  void viewWillDisappear(const Object& screen);
  /// Whether the screen is a page that is now passed to the observer. False for a system screen, for a navigation or
  /// tab-bar controller, and while isCollecting() returns false.
  bool canCollectViewController(const Object* screen) const;

  /// The class name of the last recorded screen; nullopt before the first one.
  std::optional<std::string> pageName() const;
  void setPageName(std::optional<std::string> name);

 private:
  void record(const Class* screenClass);
  Observer observer() const;

  mutable std::mutex _mutex;
  Observer _observer;
  std::optional<std::string> _pageName;
};

}  // namespace oq
