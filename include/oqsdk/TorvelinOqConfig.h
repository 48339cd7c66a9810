// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "oqsdk/Export.h"
#include "oqsdk/Runtime.h"

namespace oq {

/// The servers that a configuration can name. The interface takes plain integers: any other value is stored
/// as it is and makes every request fail.
enum OQEnvironment : std::uint64_t {
  OQEnvironmentProduction = 0,   ///< port 8088
  OQEnvironmentTest = 1,         ///< port 28088
  OQEnvironmentDevelopment = 2,  ///< port 38088
};

/// What the library needs to know of its host before it starts. The environment is not a matter of one
/// object: it is kept on disk, shared by all configurations, and survives the process. Threads: the host's
/// main thread sets it; reading is safe from any thread.
class OQSDK_EXPORT TorvelinOqConfig : public Object {
  OQ_CLASS(TorvelinOqConfig)

 public:
  /// One shared instance; every call returns the same object.
  static std::shared_ptr<TorvelinOqConfig> defaultConfig();

  /// The application key issued by the server. Its form is not checked.
  void setAppKey(std::string appKey);
  /// The key as it was set; "" before.
  std::string appKey() const;

  /// Stores the environment for this and all later runs, in the data folder of the application: a host is
  /// attached first, since it is the host that says where this is.
  void setEnvType(std::uint64_t envType);
  /// The stored environment, read afresh; 0 (production) when none was ever stored.
  std::uint64_t envType();

 private:
  mutable std::mutex _mutex;
  std::string _appKey;
  std::uint64_t _envType = OQEnvironmentProduction;
};

}  // namespace oq
