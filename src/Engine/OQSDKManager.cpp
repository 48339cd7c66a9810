// SPDX-License-Identifier: Apache-2.0
#include "Engine/OQSDKManager.h"

#include "Dispatch/DispatchQueue.h"
#include "Foundation/Stores/UserDefaults.h"
#include "Foundation/Values/Date.h"
#include "Foundation/Values/Number.h"
#include "Hooks/OQSwizzler.h"
#include "Pages/OQPageCollection.h"
#include "Storage/OQUserDefaults.h"
#include "Utils/OQGuard.h"
#include "Utils/OQLogger.h"
#include "Utils/OQUtils.h"
#include "oqsdk/AnalyticsHook.h"

namespace oq {

namespace {

using Kind = OQCampaignStore::Kind;

constexpr const char* kLastUpdateKey = "OQWindowDataLastUpdateTime";

bool wasFetchedToday() {
  const PropertyValue stored = UserDefaults::standardUserDefaults()->objectForKey(kLastUpdateKey);
  const Date* last = std::get_if<Date>(&stored);
  return OQUtils::isSameDay(currentDate(), last ? std::optional(*last) : std::nullopt);
}

void noteFetchedToday() {
  auto defaults = UserDefaults::standardUserDefaults();
  defaults->setObject(currentDate(), kLastUpdateKey);
  defaults->synchronize();
}

OQCampaignStore::Windows windowsFrom(const JSONArray& records) {
  OQCampaignStore::Windows windows;
  windows.reserve(records.size());
  for (const JSONValue& record : records) windows.push_back(OQCampaignList::windowFrom(record));
  return windows;
}

std::optional<URL> pictureURL(const OQWindowData& window) {
  const auto* picture = window.picture().if_string();
  return picture ? URL::withString(*picture) : std::nullopt;
}

}  // namespace

Class* OQSDKManager::staticClass() {
  static Class* registered = registerClass("OQSDKManager", Object::staticClass());
  return registered;
}

OQSDKManager& OQSDKManager::sharedManager() {
  // Leaked on purpose.
  static auto* shared = new std::shared_ptr<OQSDKManager>(_makeShared());
  return **shared;
}

std::shared_ptr<OQSDKManager> OQSDKManager::_makeShared() {
  auto engine = std::make_shared<OQSDKManager>();
  OQPageCollection::sharedInstance().setObserver(
      {[] { return sharedManager().autoCollectPage(); },
       [](const std::string& name) { sharedManager().autoPageCollected(name); }});
  // The starting thread does not wait. A caller that needs a campaign earlier waits for the reading.
  guarded([&] { DispatchQueue::background().async([store = engine->_store] { guarded([&] { store->restore(); }); }); });
  return engine;
}

void OQSDKManager::startWithConfiguration(std::shared_ptr<TorvelinOqConfig> configuration) {
  // A flag and not a once-only guard: the hooks wait for the main thread, which may be starting the library
  // itself.
  static std::atomic<bool> hooksInstalled{false};
  if (!hooksInstalled.exchange(true)) {
    exchangeMethod();
    OQPageCollection::collectPage();
  }
  setConfiguration(std::move(configuration));
  login();
}

void OQSDKManager::exchangeMethod() {
  OQUploadHookBlock block = [](Object&, SEL, const Value& info, const std::string&, const UploadHandler&) {
    guarded([&] { sharedManager().onEventDataReceived(jsonIn(info)); });
  };
  Class* analytics = NSClassFromString("TorvelinSDK");
  if (!analytics) {
    platformWarning(
        "No class \"TorvelinSDK\" is registered, so the library sees no events and shows no messages. Register it with "
        "oq::registerClass() before TorvelinOqManager::startWithConfig().");
  }
  OQSwizzler::swizzleSelector(saveUploadInfo, analytics, std::move(block), "oq_saveUploadInfo");
}

void OQSDKManager::setEnvironment(std::uint64_t environment) {
  // Without a configuration nothing is stored. A host that chooses before the start uses its own configuration.
  if (auto configuration = sharedManager().configuration()) configuration->setEnvType(environment);
}

std::uint64_t OQSDKManager::getEnvironment() {
  return OQUserDefaults::environment();
}

void OQSDKManager::login() {
  OQServerRequests::login(_session.values(), weak_from_this(), [this](const JSONValue& answer) {
    _session.takeToken(valueForKey(answer, "token"));
    getListData();
  });
}

void OQSDKManager::getListData() {
  const Session session = _session.values();
  if (session.token.value_or("").empty() || session.userId.value_or("").empty()) return;
  getSubscribeList();
  _dailyFetches.run([self = shared_from_this()] {
    if (wasFetchedToday()) return;
    self->getInAppList();
    // When the request is sent, whatever its outcome: a failed fetch is not repeated on the same day.
    noteFetchedToday();
  });
}

void OQSDKManager::getInAppList() {
  _requests.getInAppList(_session.values(), weak_from_this(),
                         [this](const JSONArray& records) { _installInAppList(records); });
}

void OQSDKManager::getSubscribeList() {
  _requests.getSubscribeList(_session.values(), weak_from_this(),
                             [this](const JSONArray& records) { _installSubscribeList(records); });
}

void OQSDKManager::_installInAppList(const JSONArray& records) {
  auto windows = windowsFrom(records);
  // Only so that the picture is in the cache before the window is shown.
  for (const auto& window : windows) downloadImageWithURL(pictureURL(*window), nullptr);
  for (const auto& event : _store->install(Kind::InApp, std::move(windows))) triggerEventMatchInApp(event);
}

void OQSDKManager::_installSubscribeList(const JSONArray& records) {
  for (const auto& event : _store->install(Kind::Subscribe, windowsFrom(records))) triggerEventMatchSubscribe(event);
}

std::shared_ptr<const OQSDKManager::Windows> OQSDKManager::_windows(Kind kind) const {
  const auto list = _store->list(kind);
  return {list, &list->windows()};
}

std::shared_ptr<OQNetwork> OQSDKManager::network() {
  std::lock_guard lock(_networkMutex);
  if (!_network) _network = OQNetwork::randomNetwork();
  return _network;
}

void OQSDKManager::setNetwork(std::shared_ptr<OQNetwork> network) {
  std::lock_guard lock(_networkMutex);
  _network.swap(network);
}

void OQSDKManager::downloadImageWithURL(const std::optional<URL>& url, OQNetwork::ImageCompletion completion) {
  network()->downloadImageWithURL(url, std::move(completion));
}

}  // namespace oq
