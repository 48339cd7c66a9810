// SPDX-License-Identifier: Apache-2.0
#include "oqsdk/Messages.h"

#include <new>
#include <utility>

#include "Engine/OQMessageControl.h"
#include "Engine/OQSDKManager.h"
#include "Foundation/System/HostCall.h"
#include "Foundation/Values/JSONValue.h"
#include "Requests/OQServerAddress.h"
#include "Utils/OQConsent.h"
#include "Utils/OQGuard.h"
#include "Utils/OQLogger.h"
#include "oqsdk/TorvelinOqConfig.h"

namespace oq {

namespace {

OQSDKManager& engine() {
  return OQSDKManager::sharedManager();
}

Status failure(std::string error) {
  return {std::move(error)};
}

/// Like guarded(), but reports that memory has run out.
template <class Work>
Status attempt(Work&& work) {
  bool isOutOfMemory = false;
  guarded([&] {
    try {
      std::forward<Work>(work)();
    } catch (const std::bad_alloc&) {
      isOutOfMemory = true;
    }
  });
  return isOutOfMemory ? failure("Out of memory.") : Status{};
}

OQMessageControl& control() {
  return *OQMessageControl::shared();
}

}  // namespace

Status Messages::start(const MessageOptions& options) {
  if (options.appKey.empty()) return failure("The application key is empty.");
  if (auto problem = OQServerAddress::problemWith(options.server)) return failure(std::move(*problem));
  if (!options.server.empty()) {
    if (auto problem = OQServerAddress::set(OQSDKManager::getEnvironment(), options.server))
      return failure(std::move(*problem));
  }
  // After everything that can fail, and before everything that may store something.
  if (options.requireConsent) OQConsent::require();
  return attempt([&] {
    OQServerAddress::allowEnvironmentVariable(options.serverFromEnvironment);
    if (options.oneAtATime) setOneAtATime(true);
    const auto configuration = TorvelinOqConfig::defaultConfig();
    configuration->setAppKey(options.appKey);
    engine().startWithoutAnalytics(configuration);
  });
}

Status Messages::setServer(std::uint64_t environment, const std::string& url) {
  return {OQServerAddress::set(environment, url).value_or("")};
}

Status Messages::setUser(const std::string& userId) {
  if (userId.empty()) return failure("The user id is empty.");
  return attempt([&] { OQSDKManager::setUserWhenPossible(userId); });
}

Status Messages::record(const std::string& event, const Value& properties) {
  if (event.empty()) return failure("The event's name is empty.");
  if (!properties.isDictionary()) return failure("The event's properties are not a dictionary.");
  if (!OQSDKManager::isStarted()) return failure("The library is not started.");
  return attempt([&] { engine().record(event, jsonIn(properties)); });
}

void Messages::setHandlers(MessageHandlers handlers) {
  control().setHandlers(std::move(handlers));
}

void Messages::hold() {
  control().setHeld(true);
}

void Messages::resume() {
  guarded([] { control().setHeld(false); });
}

bool Messages::isHeld() {
  return control().isHeld();
}

void Messages::setOneAtATime(bool oneAtATime) {
  control().setOneAtATime(oneAtATime);
}

void Messages::dismiss() {
  guarded([] { engine().dismiss(); });
}

Status Messages::giveConsent() {
  bool isStored = false;
  guarded([&] {
    const bool wasMissing = OQConsent::isMissing();
    isStored = OQConsent::give();
    if (wasMissing && OQSDKManager::isStarted()) engine().proceedWithConsent();
  });
  return isStored ? Status{} : failure("The consent could not be stored. It holds in this run only.");
}

Status Messages::withdrawConsent() {
  bool isStored = false;
  guarded([&] {
    isStored = OQConsent::withdraw();
    engine().withdraw();
  });
  return isStored ? Status{} : failure("The withdrawal could not be stored. It holds in this run only.");
}

bool Messages::hasConsent() {
  return !OQConsent::isMissing();
}

void Messages::forget(Forget what) {
  guarded([&] { engine().forget(what == Forget::KeepDevice); });
}

void Messages::refresh() {
  guarded([] { engine().refresh(); });
}

std::size_t Messages::flush(double seconds) {
  std::size_t unsent = 0;
  guarded([&] { unsent = engine().flush(seconds); });
  return unsent;
}

void Messages::setLogHandler(std::function<void(LogLevel, std::string_view)> handler) {
  if (!handler) return OQLogger::setHandler(nullptr);
  OQLogger::setHandler([handler = std::move(handler)](OQLogLevel level, std::string_view entry) {
    callHost([&] { handler(level == OQLogLevel::Error ? LogLevel::Error : LogLevel::Info, entry); });
  });
}

void Messages::setLogFileLimit(std::uint64_t bytes) {
  OQLogger::setFileLimit(bytes);
}

}  // namespace oq
