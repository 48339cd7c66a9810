// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>

#include "oqsdk/Export.h"
#include "oqsdk/TorvelinOqConfig.h"
#include "oqsdk/Value.h"

namespace oq {

/// All that a host calls. A host (GTK or headless) is installed first; then, on the main thread:
///
///     auto config = oq::TorvelinOqConfig::defaultConfig();
///     config->setAppKey("...");
///     oq::TorvelinOqManager::startWithConfig(config);
///
/// Called before a host is attached, these work in a data folder named after the program, which the attached
/// application does not see. A start from another thread waits for the main loop to run.
///
/// No argument is validated, nothing is returned and nothing is thrown: what goes wrong is in the log.
class OQSDK_EXPORT TorvelinOqManager : public Object {
  OQ_CLASS(TorvelinOqManager)

 public:
  /// The engine, for a host that wants to hold it. Lives until the process ends.
  static Object& getObserverListener();

  /// Installs the hooks (once per process) and logs in (at every call). Keeps the configuration. Accepts
  /// nullptr: the login then carries an empty application key.
  static void startWithConfig(std::shared_ptr<TorvelinOqConfig> config);

  /// Whether the names of appearing pages become the engine's current page name. On by default.
  static void setAutoCollectPage(bool collect);

  /// Reports a push message: type 0 when it was delivered, 1 when it was opened; other types are ignored. The
  /// payload is a dictionary that may hold "$push_channel" and "activityId"; anything else is ignored.
  static void pushTrack(std::uint64_t type, const Value& msg);
};

}  // namespace oq
