// SPDX-License-Identifier: Apache-2.0
#include "oqsdk/TorvelinOqConfig.h"

#include <utility>

#include "Storage/OQUserDefaults.h"

namespace oq {

Class* TorvelinOqConfig::staticClass() {
  static Class* registered = registerClass("TorvelinOqConfig", Object::staticClass());
  return registered;
}

std::shared_ptr<TorvelinOqConfig> TorvelinOqConfig::defaultConfig() {
  // Leaked on purpose: it may be read while the process ends.
  static auto* shared = new std::shared_ptr<TorvelinOqConfig>(std::make_shared<TorvelinOqConfig>());
  return *shared;
}

void TorvelinOqConfig::setAppKey(std::string appKey) {
  std::lock_guard lock(_mutex);
  _appKey = std::move(appKey);
}

std::string TorvelinOqConfig::appKey() const {
  std::lock_guard lock(_mutex);
  return _appKey;
}

void TorvelinOqConfig::setEnvType(std::uint64_t envType) {
  {
    std::lock_guard lock(_mutex);
    _envType = envType;
  }
  OQUserDefaults::setEnvironment(envType);
}

std::uint64_t TorvelinOqConfig::envType() {
  // The store decides, so that all configurations agree; the field only follows it.
  const std::uint64_t stored = OQUserDefaults::environment();
  std::lock_guard lock(_mutex);
  _envType = stored;
  return stored;
}

}  // namespace oq
