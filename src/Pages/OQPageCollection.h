// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "oqsdk/Runtime.h"

namespace oq {

/// Observes every screen that appears, and passes the names of the host's pages to its observer.
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

  /// Both functions are called on the serial queue. canCollectViewController() also calls isCollecting(). If
  /// isCollecting is empty, pages are collected; if pageCollected is empty, no page is reported.
  struct Observer {
    std::function<bool()> isCollecting;
    std::function<void(const std::string& name)> pageCollected;
  };
  void setObserver(Observer observer);

  /// Hooks the appearance of all screens; a second call has no effect. A call on another thread waits for the main
  /// queue.
  static void collectPage();

  /// A screen has appeared. If it can be collected, its class name becomes the page's name and is reported. If it
  /// cannot and is not a system screen, the class name only becomes the page's name.
  void viewDidAppear(const Object& screen);
  /// Queues a task without any effect; this is intentional.
  void viewWillDisappear(const Object& screen);
  /// Whether the screen is currently a page to report.
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
