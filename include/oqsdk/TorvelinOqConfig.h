// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "oqsdk/Export.h"
#include "oqsdk/Runtime.h"

namespace oq {

/// The servers that a configuration can select. TorvelinOqConfig::setEnvType() accepts any integer: a value that is not
/// listed here is stored unchanged and makes every request fail.
enum OQEnvironment : std::uint64_t {
  OQEnvironmentProduction = 0,   ///< port 8088
  OQEnvironmentTest = 1,         ///< port 28088
  OQEnvironmentDevelopment = 2,  ///< port 38088
};

/// The settings that the library reads when it starts. The environment does not belong to one object: it is stored on
/// disk, all configurations share it, and it is kept for later runs. Threads: set on the main thread, read on any.
class OQSDK_EXPORT TorvelinOqConfig : public Object {
  OQ_CLASS(TorvelinOqConfig)

 public:
  /// Creates a configuration that is separate from defaultConfig(), with an empty application key.
  TorvelinOqConfig();
  ~TorvelinOqConfig() override;

  /// The shared instance; every call returns the same object.
  static std::shared_ptr<TorvelinOqConfig> defaultConfig();

  /// Sets the application key that the server has issued. Its form is not checked.
  void setAppKey(std::string appKey);
  /// The application key; "" until it is set.
  std::string appKey() const;

  /// Stores the environment, one of OQEnvironment, for this run and later ones in the application's data folder. Attach
  /// a host first: it determines that folder. If the file cannot be written, the environment stays as it was. While the
  /// user's consent is missing, the environment is kept in memory; it is stored after the user has consented.
  void setEnvType(std::uint64_t envType);
  /// The stored environment, read from the store at each call; 0 (production) if none was ever stored.
  std::uint64_t envType();

 private:
  class State;
  const std::unique_ptr<State> _state;
};

}  // namespace oq
