// SPDX-License-Identifier: Apache-2.0
#include "oqsdk/Messages.h"

#include <mutex>
#include <utility>

#include "Engine/OQSDKManager.h"
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

/// The user that the host set while consent was missing, when nothing may be stored.
class PendingUser {
 public:
  void set(std::string userId) {
    std::lock_guard lock(_mutex);
    _userId.swap(userId);
  }
  std::string take() {
    std::lock_guard lock(_mutex);
    return std::exchange(_userId, {});
  }

 private:
  std::mutex _mutex;
  std::string _userId;
};

PendingUser& pendingUser() {
  static auto& user = *new PendingUser;
  return user;
}

}  // namespace

Status Messages::start(const MessageOptions& options) {
  if (options.appKey.empty()) return failure("The application key is empty.");
  if (!options.server.empty()) {
    if (const auto error = OQServerAddress::set(OQSDKManager::getEnvironment(), options.server)) return {*error};
  }
  guarded([&] {
    OQServerAddress::allowEnvironmentVariable(options.serverFromEnvironment);
    if (options.requireConsent) OQConsent::require();
    setOneAtATime(options.oneAtATime);
    const auto configuration = TorvelinOqConfig::defaultConfig();
    configuration->setAppKey(options.appKey);
    engine().startWithoutAnalytics(configuration);
  });
  return {};
}

Status Messages::setServer(std::uint64_t environment, const std::string& url) {
  return {OQServerAddress::set(environment, url).value_or("")};
}

Status Messages::setUser(const std::string& userId) {
  if (userId.empty()) return failure("The user id is empty.");
  if (!hasConsent()) {
    pendingUser().set(userId);
    return {};
  }
  guarded([&] { engine().setUser(userId); });
  return {};
}

Status Messages::record(const std::string& event, const Value& properties) {
  if (event.empty()) return failure("The event's name is empty.");
  if (!properties.isDictionary()) return failure("The event's properties are not a dictionary.");
  guarded([&] { engine().record(event, jsonIn(properties)); });
  return {};
}

void Messages::setHandlers(MessageHandlers handlers) {
  engine().messageControl().setHandlers(std::move(handlers));
}

void Messages::hold() {
  engine().hold();
}

void Messages::resume() {
  guarded([] { engine().resume(); });
}

bool Messages::isHeld() {
  return engine().messageControl().isHeld();
}

void Messages::setOneAtATime(bool oneAtATime) {
  engine().messageControl().setOneAtATime(oneAtATime);
}

void Messages::dismiss() {
  guarded([] { engine().dismiss(); });
}

void Messages::giveConsent() {
  guarded([] {
    const bool wasMissing = OQConsent::isMissing();
    OQConsent::give();
    const std::string user = pendingUser().take();
    if (!user.empty()) engine().setUser(user);
    if (wasMissing && engine().configuration()) engine().login();
  });
}

void Messages::withdrawConsent() {
  guarded([] {
    OQConsent::withdraw();
    engine().withdraw();
  });
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
    guarded([&] { handler(level == OQLogLevel::Error ? LogLevel::Error : LogLevel::Info, entry); });
  });
}

void Messages::setLogFileLimit(std::uint64_t bytes) {
  OQLogger::setFileLimit(bytes);
}

}  // namespace oq
