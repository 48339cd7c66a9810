// SPDX-License-Identifier: Apache-2.0
#include "oqsdk/TorvelinOqManager.h"

#include <utility>

#include "Engine/OQSDKManager.h"
#include "Utils/OQGuard.h"

namespace oq {

Class* TorvelinOqManager::staticClass() {
  static Class* registered = registerClass("TorvelinOqManager", Object::staticClass());
  return registered;
}

Object& TorvelinOqManager::getObserverListener() {
  return OQSDKManager::sharedManager();
}

void TorvelinOqManager::startWithConfig(std::shared_ptr<TorvelinOqConfig> config) {
  guarded([&] { OQSDKManager::sharedManager().startWithConfiguration(std::move(config)); });
}

void TorvelinOqManager::setAutoCollectPage(bool collect) {
  guarded([&] { OQSDKManager::sharedManager().setAutoCollectPage(collect); });
}

void TorvelinOqManager::pushTrack(std::uint64_t type, const Value& msg) {
  guarded([&] { OQSDKManager::sharedManager().pushTrack(type, msg); });
}

}  // namespace oq
