// SPDX-License-Identifier: Apache-2.0
#include "oqsdk/TorvelinOqConfig.h"

#include <mutex>
#include <utility>

#include "Storage/OQUserDefaults.h"

namespace oq {

/// The application key, and the mutex that guards it: any thread may read the key while another one sets it.
class __attribute__((visibility("hidden"))) TorvelinOqConfig::State {
 public:
  std::mutex mutex;
  std::string appKey;
};

TorvelinOqConfig::TorvelinOqConfig() : _state(std::make_unique<State>()) {}

TorvelinOqConfig::~TorvelinOqConfig() = default;

Class* TorvelinOqConfig::staticClass() {
  static Class* registered = registerClass("TorvelinOqConfig", Object::staticClass());
  return registered;
}

std::shared_ptr<TorvelinOqConfig> TorvelinOqConfig::defaultConfig() {
  // Leaked on purpose: threads may still read it while the process exits.
  static auto* shared = new std::shared_ptr<TorvelinOqConfig>(std::make_shared<TorvelinOqConfig>());
  return *shared;
}

void TorvelinOqConfig::setAppKey(std::string appKey) {
  std::lock_guard lock(_state->mutex);
  _state->appKey = std::move(appKey);
}

std::string TorvelinOqConfig::appKey() const {
  std::lock_guard lock(_state->mutex);
  return _state->appKey;
}

void TorvelinOqConfig::setEnvType(std::uint64_t envType) {
  OQUserDefaults::setEnvironment(envType);
}

std::uint64_t TorvelinOqConfig::envType() {
  return OQUserDefaults::environment();
}

}  // namespace oq
