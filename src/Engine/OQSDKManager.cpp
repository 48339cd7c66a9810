// SPDX-License-Identifier: Apache-2.0
#include "Engine/OQSDKManager.h"

#include <utility>

#include "Dispatch/DispatchQueue.h"
#include "Foundation/Stores/UserDefaults.h"
#include "Foundation/Values/Date.h"
#include "Foundation/Values/Number.h"
#include "Hooks/OQSwizzler.h"
#include "Pages/OQPageCollection.h"
#include "Pages/OQWebController.h"
#include "Storage/OQUserDefaults.h"
#include "UI/OQPopWindow.h"
#include "UIKit/Windows/MainObject.h"
#include "UIKit/Windows/UIApplication.h"
#include "Utils/OQDispatchQueueManager.h"
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
  for (const JSONValue& record : records) windows.push_back(OQWindowData::windowFrom(record));
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
  // The starting thread does not wait for the files. A caller that needs a campaign earlier waits until they are read.
  guarded([&] { DispatchQueue::background().async([store = engine->_store] { guarded([&] { store->restore(); }); }); });
  return engine;
}

void OQSDKManager::startWithConfiguration(std::shared_ptr<TorvelinOqConfig> configuration) {
  // A flag, not std::call_once: installing the hooks waits for the main thread, which may be in this function, too.
  static std::atomic<bool> hooksInstalled{false};
  if (!hooksInstalled.exchange(true)) {
    exchangeMethod();
    OQPageCollection::collectPage();
    const auto observe = [] {
      UIApplication::sharedApplication().setForegroundObserver(
          [] { guarded([] { sharedManager().returnedToForeground(); }); });
    };
    OQDispatchQueueManager::dispatchInMainThread(observe, true);
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
  OQServerRequests::login(_session.values(), weak_from_this(), [this, environment = getEnvironment()](auto& answer) {
    _session.takeToken(valueForKey(answer, "token"));
    _session.takeOffer(answer, environment);
    _reports->takeOffer(_session.values());
    getListData();
  });
}

void OQSDKManager::getListData() {
  const Session session = _session.values();
  if (session.token.value_or("").empty() || session.userId.value_or("").empty()) return;
  const auto isFetched = std::make_shared<bool>(false);
  _fetchSubscriptions([this, isFetched] { _fetchWindowsOnce(isFetched, true); });
  _fetchWindowsOnce(isFetched, false);
}

void OQSDKManager::_fetchWindowsOnce(const std::shared_ptr<bool>& isFetched, bool isTester) {
  _dailyFetches.run([self = shared_from_this(), isFetched, isTester] {
    if (*isFetched || (!isTester && wasFetchedToday())) return;
    *isFetched = true;
    self->_fetchWindows();
  });
}

void OQSDKManager::returnedToForeground() {
  if (!_isTester || !_session.values().currentOffer()) return;
  getSubscribeList();
  _fetchWindows();
}

void OQSDKManager::_fetchWindows() {
  getInAppList();
  // Noted when the request is sent, whatever its outcome: a failed fetch is not repeated on the same day.
  noteFetchedToday();
}

void OQSDKManager::getInAppList() {
  _requests.getInAppList(_session.values(), weak_from_this(),
                         [this](const JSONArray& records) { _installInAppList(records); });
}

void OQSDKManager::getSubscribeList() {
  _fetchSubscriptions(nullptr);
}

void OQSDKManager::_fetchSubscriptions(std::function<void()> ifTester) {
  const Session session = _session.values();
  const auto offer = session.currentOffer();
  const auto answered = [this, isOffered = offer && offer->tester, ifTester](const JSONValue& answer) {
    _isTester = isOffered && valueForKey(answer, "tester") == JSONValue(true);
    if (_isTester && ifTester) ifTester();
  };
  _requests.getSubscribeList(
      session, weak_from_this(), [this](const JSONArray& records) { _installSubscribeList(records); }, answered);
}

void OQSDKManager::_installInAppList(const JSONArray& records) {
  auto windows = windowsFrom(records);
  // The pictures are loaded only to have them in the cache before a window is shown.
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

void OQSDKManager::onEventDataReceived(const JSONValue& info) {
  if (!info.is_object()) return;
  OQLogger::log("收到event回调：\n%@", info);
  _session.takeUser(valueForKey(info, "xwho"), valueForKey(info, "appid"));
  // This check has no effect: page views are matched like any other event. This is intentional.
  [[maybe_unused]] const bool isPageView = valueForKey(info, "xwhat") == JSONValue("$pageview");

  auto event = std::make_shared<OQWindowEvent>();
  event->setModelWithDic(info);
  triggerEventMatch(event);
}

void OQSDKManager::triggerEventMatch(const std::shared_ptr<OQWindowEvent>& event) {
  triggerEventMatchInApp(event);
  triggerEventMatchSubscribe(event);
}

void OQSDKManager::triggerEventMatchInApp(const std::shared_ptr<OQWindowEvent>& event) {
  if (!event) return;
  if (const auto window = _decisions.windowFor(event)) _present(window);
}

void OQSDKManager::triggerEventMatchSubscribe(const std::shared_ptr<OQWindowEvent>& event) {
  if (!event) return;
  const auto list = _store->listOrWait(OQCampaignStore::Kind::Subscribe, event).list;
  if (list && list->match(*event).position != OQCampaignMatch::nowhere) triggerEvent(event);
}

void OQSDKManager::_showWindowWithData(const std::shared_ptr<OQWindowData>& window) {
  if (window && _decisions.mayShow(window, nullptr)) _present(window);
}

void OQSDKManager::syncWithTreeNode(const std::shared_ptr<OQRecordTreeNode>& node) {
  if (node) _store->countDisplay(*node);
}

void OQSDKManager::_present(const std::shared_ptr<OQWindowData>& window) {
  auto self = shared_from_this();
  auto action = [self, window](std::int64_t code, const JSONValue& link) {
    guarded([&] { self->_handleWindowAction(window, code, link); });
  };
  auto present = [self, window, action] { guarded([&] { self->presentWindow(window, action); }); };
  OQDispatchQueueManager::dispatchInMainThread(present, true);
}

void OQSDKManager::presentWindow(const std::shared_ptr<OQWindowData>& window, WindowAction action) {
  const auto popWindow = makeMainObject<OQPopWindow>();
  popWindow->setNetwork(network());
  popWindow->popOnMainQueue(window, std::move(action));
}

void OQSDKManager::_handleWindowAction(const std::shared_ptr<OQWindowData>& window, std::int64_t code,
                                       const JSONValue& link) {
  const auto clicked = [&](const char* entry) {
    OQLogger::log(entry);
    jumpToWebViewWithURLStr(link);
    reportWindowEventWithName("$clickDialog", code, *window);
  };
  switch (code) {
    case OQWindowActionShown:
      OQLogger::log("显示弹窗，弹窗类型：%@", window->style());
      return reportWindowEventWithName("$impDialog", code, *window);
    case OQWindowActionPicture:
      return clicked("点击了弹窗图片");
    case OQWindowActionClosed:
      OQLogger::log("点击了弹窗关闭按钮");
      _store->markClosed(*window);
      return reportWindowEventWithName("$closeDialog", code, *window);
    case OQWindowActionLeftButton:
      return clicked("点击了弹窗left button");
    case OQWindowActionRightButton:
      return clicked("点击了弹窗right button");
    case OQWindowActionMiddleButton:
      return clicked("点击了弹窗middle button");
    default:
      return;
  }
}

void OQSDKManager::jumpToWebViewWithURLStr(const JSONValue& url) {
  if (isNonEmptyString(url)) OQWebController::open(std::string(url.get_string()));
}

void OQSDKManager::reportWindowEventWithName(const std::optional<std::string>& name, std::int64_t type,
                                             const OQWindowData& window) {
  _reportEvent(OQServerRequests::windowEvent(_session.values(), name, type, window));
}

void OQSDKManager::reportPushEventWithType(std::uint64_t type, const JSONValue& msg) {
  _reportEvent(OQServerRequests::pushEvent(_session.values(), type, msg));
}

void OQSDKManager::_reportEvent(const std::shared_ptr<OQWindowEvent>& event) {
  if (event) _reports->send(_session.values(), OQReports::Kind::WindowEvent, *event);
}

void OQSDKManager::triggerEvent(const std::shared_ptr<OQWindowEvent>& event) {
  if (event) _reports->send(_session.values(), OQReports::Kind::SubscribedEvent, *event);
}

}  // namespace oq
