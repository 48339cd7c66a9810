// SPDX-License-Identifier: Apache-2.0
#include "oqsdk/TorvelinOqManager.h"

#include <utility>

#include "Engine/OQSDKManager.h"
#include "Foundation/Values/JSONValue.h"
#include "Utils/OQGuard.h"

namespace oq {

Class* TorvelinOqManager::staticClass() {
  static Class* registered = registerClass("TorvelinOqManager", Object::staticClass());
  return registered;
}

OQObserverListener& TorvelinOqManager::engine() {
  return OQSDKManager::sharedManager();
}

Object& TorvelinOqManager::getObserverListener() {
  return engine();
}

void TorvelinOqManager::startWithConfig(std::shared_ptr<TorvelinOqConfig> config) {
  guarded([&] { OQSDKManager::sharedManager().startWithConfiguration(std::move(config)); });
}

void TorvelinOqManager::setAutoCollectPage(bool collect) {
  guarded([&] { OQSDKManager::sharedManager().setAutoCollectPage(collect); });
}

void TorvelinOqManager::pushTrack(std::uint64_t type, const Value& msg) {
  guarded([&] { OQSDKManager::sharedManager().pushTrack(type, jsonIn(msg)); });
}

}  // namespace oq
