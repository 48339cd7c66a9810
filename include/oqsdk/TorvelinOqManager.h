// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>

#include "oqsdk/Export.h"
#include "oqsdk/OQObserverListener.h"
#include "oqsdk/TorvelinOqConfig.h"
#include "oqsdk/Value.h"

namespace oq {

/// Starts and controls the library. Install a host (GTK or headless) first; then, on the main thread:
///
///     auto config = oq::TorvelinOqConfig::defaultConfig();
///     config->setAppKey("...");
///     oq::TorvelinOqManager::startWithConfig(config);
///
/// Before a host is attached, these functions work in a data folder named after the program, and what they store there
/// is not found again once the host is attached. Threads: any; a start from another thread than the main thread waits
/// until the main loop runs.
///
/// Arguments are not checked, and no function throws or returns an error: failures are in the log.
class OQSDK_EXPORT TorvelinOqManager : public Object {
  OQ_CLASS(TorvelinOqManager)

 public:
  /// The engine. It lives until the process ends; the caller does not own it.
  static OQObserverListener& engine();
  /// Returns the object of engine() as its base class.
  static Object& getObserverListener();

  /// Installs the hooks (once per process) and logs in (at every call). The library keeps a reference to the
  /// configuration. With nullptr the login has an empty application key.
  static void startWithConfig(std::shared_ptr<TorvelinOqConfig> config);

  /// Sets whether the name of an appearing page becomes the engine's current page name (see
  /// OQObserverListener::pageName()). The default is true.
  static void setAutoCollectPage(bool collect);

  /// Reports a push message: type 0 if it was delivered, 1 if it was opened; other types are ignored. `msg` is a
  /// dictionary, of which "$push_channel" and "activityId" are reported; both may be missing.
  static void pushTrack(std::uint64_t type, const Value& msg);
};

}  // namespace oq
