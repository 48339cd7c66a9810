#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "oqsdk/Runtime.h"

namespace oq {

/// Notices every screen that appears and passes the names of those that are pages of the host to its observer.
///
/// Threads: screens appear on the main thread; what becomes of them is decided later, in order, on the serial
/// queue of OQDispatchQueueManager. The page's name may be read anywhere. Screens are not kept: only their
/// class is.
class OQPageCollection : public Object {
  OQ_CLASS(OQPageCollection)

 public:
  /// Made at the first call and never destroyed.
  static OQPageCollection& sharedInstance();
  OQPageCollection() = default;

  /// Both are called on the serial queue, isCollecting() also by canCollectViewController(). Without an observer no
  /// page is reported.
  struct Observer {
    std::function<bool()> isCollecting;
    std::function<void(const std::string& name)> pageCollected;
  };
  void setObserver(Observer observer);

  /// Hooks the appearance of all screens; a second call changes nothing. Waits for the main queue when called
  /// elsewhere.
  static void collectPage();

  /// A screen has appeared: if it can be collected its class's name becomes the page's and is reported; if it
  /// cannot, and is no screen of the system's, it only becomes the page's name.
  void viewDidAppear(const Object& screen);
  /// Queues a task that does nothing; intentional.
  void viewWillDisappear(const Object& screen);
  /// Whether the screen is a page to report at this moment.
  bool canCollectViewController(const Object* screen) const;

  /// The class name of the screen that was recorded last; nullopt before the first.
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
