// SPDX-License-Identifier: Apache-2.0
#include "Engine/OQSDKManager.h"

#include <utility>

#include "Dispatch/DispatchQueue.h"
#include "Engine/OQHostPresentation.h"
#include "Foundation/System/HostCall.h"
#include "Foundation/Values/Number.h"
#include "Hooks/OQSwizzler.h"
#include "Pages/OQLinks.h"
#include "Pages/OQPageCollection.h"
#include "Pages/OQWebController.h"
#include "Storage/OQUserDefaults.h"
#include "UI/OQPopWindow.h"
#include "UIKit/Windows/MainObject.h"
#include "UIKit/Windows/UIApplication.h"
#include "Utils/OQConsent.h"
#include "Utils/OQDispatchQueueManager.h"
#include "Utils/OQGuard.h"
#include "Utils/OQLogger.h"
#include "Utils/OQUtils.h"
#include "oqsdk/AnalyticsHook.h"

namespace oq {

namespace {

using Kind = OQCampaignStore::Kind;

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
  // Leaked on purpose; the header explains why.
  static auto* shared = new std::shared_ptr<OQSDKManager>(_makeShared());
  return **shared;
}

std::shared_ptr<OQSDKManager> OQSDKManager::_makeShared() {
  auto engine = std::make_shared<OQSDKManager>(OQMessageControl::shared());
  OQPageCollection::sharedInstance().setObserver(
      {[] { return sharedManager().autoCollectPage(); },
       [](const std::string& name) { sharedManager().autoPageCollected(name); }});
  // The files are read in the background, so that the starting thread does not wait for them. A caller that needs a
  // campaign waits until they are read.
  guarded([&] { DispatchQueue::background().async([store = engine->_store] { guarded([&] { store->restore(); }); }); });
  return engine;
}

void OQSDKManager::startWithConfiguration(std::shared_ptr<TorvelinOqConfig> configuration) {
  _start(std::move(configuration), true);
}

void OQSDKManager::startWithoutAnalytics(std::shared_ptr<TorvelinOqConfig> configuration) {
  if (appid().value_or("").empty() && configuration) setAppid(configuration->appKey());
  _start(std::move(configuration), NSClassFromString("TorvelinSDK") != nullptr);
}

void OQSDKManager::_start(std::shared_ptr<TorvelinOqConfig> configuration, bool needsAnalytics) {
  // Flags, because std::call_once could deadlock: another thread that installs the hooks waits for the main thread, and
  // the main thread may be waiting in this function for the other thread.
  static std::atomic<bool> isHooked{false}, isObserving{false};
  if (needsAnalytics && !isHooked.exchange(true)) exchangeMethod();
  if (!isObserving.exchange(true)) {
    OQPageCollection::collectPage();
    const auto observe = [] {
      UIApplication::sharedApplication().setForegroundObserver(
          [] { guarded([] { sharedManager().returnedToForeground(); }); });
    };
    OQDispatchQueueManager::dispatchInMainThread(observe, true);
  }
  setConfiguration(std::move(configuration));
  _noteStarted();
  _takePendingUser();
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
  // Without a configuration nothing is stored. To choose the environment before the start, a host calls setEnvType() of
  // its own configuration.
  if (auto configuration = sharedManager().configuration()) configuration->setEnvType(environment);
}

std::uint64_t OQSDKManager::getEnvironment() {
  return OQUserDefaults::environment();
}

void OQSDKManager::login() {
  const auto answered = [this, environment = getEnvironment(), forgettings = _forgettings.load()](auto& answer) {
    {
      std::lock_guard lock(_userMutex);
      // If the user was forgotten since the request was sent, the token must not be kept.
      if (forgettings != _forgettings) return;
      _session.takeToken(valueForKey(answer, "token"));
      _session.takeOffer(answer, environment);
      _isLoggedIn = true;
    }
    _reports->takeOffer(_session.values());
    getListData();
  };
  OQServerRequests::login(_session.values(), weak_from_this(), answered);
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
    if (*isFetched || (!isTester && OQCampaignStore::wasFetchedToday())) return;
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
  const Generation generation = _store->generation();
  getInAppList();
  // The fetch is noted when the request is sent, whatever its outcome: a failed fetch is not repeated on the same day.
  // It is not noted if the user has changed since: nothing was fetched for the new user.
  std::lock_guard lock(_userMutex);
  if (generation == _store->generation()) OQCampaignStore::noteFetchedToday();
}

void OQSDKManager::getInAppList() {
  // The generation is read before the user: if the user changes in between, the answer is ignored.
  const Generation generation = _store->generation();
  _requests.getInAppList(_session.values(), weak_from_this(),
                         [this, generation](const JSONArray& records) { _installInAppList(records, generation); });
}

void OQSDKManager::getSubscribeList() {
  _fetchSubscriptions(nullptr);
}

void OQSDKManager::_fetchSubscriptions(std::function<void()> ifTester) {
  // The generation is read before the user: if the user changes in between, the answer is ignored.
  const Generation generation = _store->generation();
  const Session session = _session.values();
  const auto offer = session.currentOffer();
  const auto answered = [this, generation, isOffered = offer && offer->tester, ifTester](const JSONValue& answer) {
    if (generation != _store->generation()) return;
    _isTester = isOffered && valueForKey(answer, "tester") == JSONValue(true);
    if (_isTester && ifTester) ifTester();
  };
  _requests.getSubscribeList(
      session, weak_from_this(),
      [this, generation](const JSONArray& records) { _installSubscribeList(records, generation); }, answered);
}

void OQSDKManager::_installInAppList(const JSONArray& records, Generation generation) {
  if (generation != _store->generation()) return;
  auto windows = windowsFrom(records);
  // The pictures are loaded only to have them in the cache before a window is shown.
  for (const auto& window : windows) downloadImageWithURL(pictureURL(*window), nullptr);
  const auto waited = _store->install(Kind::InApp, std::move(windows), generation);
  _followForgetting();
  for (const auto& event : waited) _matchInApp(event, generation);
}

void OQSDKManager::_installSubscribeList(const JSONArray& records, Generation generation) {
  const auto waited = _store->install(Kind::Subscribe, windowsFrom(records), generation);
  for (const auto& event : waited) _matchSubscribe(event, generation);
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
  if (!info.is_object() || OQConsent::isMissing()) return;
  OQLogger::log("收到event回调：\n%@", info);
  _session.takeUser(valueForKey(info, "xwho"), valueForKey(info, "appid"));
  _match(info, _store->generation());
}

void OQSDKManager::_match(const JSONValue& info, Generation generation) {
  // This check has no effect: page views are matched like any other event. This is intentional.
  [[maybe_unused]] const bool isPageView = valueForKey(info, "xwhat") == JSONValue("$pageview");

  auto event = std::make_shared<OQWindowEvent>();
  event->setModelWithDic(info);
  _matchInApp(event, generation);
  _matchSubscribe(event, generation);
}

void OQSDKManager::triggerEventMatch(const std::shared_ptr<OQWindowEvent>& event) {
  triggerEventMatchInApp(event);
  triggerEventMatchSubscribe(event);
}

void OQSDKManager::triggerEventMatchInApp(const std::shared_ptr<OQWindowEvent>& event) {
  _matchInApp(event, _store->generation());
}

void OQSDKManager::_matchInApp(const std::shared_ptr<OQWindowEvent>& event, Generation generation) {
  if (!event) return;
  if (const auto message = _decisions.messageFor(event, generation)) _present(message);
  _followForgetting();
}

void OQSDKManager::triggerEventMatchSubscribe(const std::shared_ptr<OQWindowEvent>& event) {
  _matchSubscribe(event, _store->generation());
}

void OQSDKManager::_matchSubscribe(const std::shared_ptr<OQWindowEvent>& event, Generation generation) {
  if (!event) return;
  const auto list = _store->listOrWait(OQCampaignStore::Kind::Subscribe, event, generation).list;
  if (list && list->match(*event).position != OQCampaignMatch::nowhere) triggerEvent(event);
}

void OQSDKManager::_showWindowWithData(const std::shared_ptr<OQWindowData>& window) {
  if (!window) return;
  if (const auto message = _decisions.messageFor(window)) _present(message);
}

void OQSDKManager::syncWithTreeNode(const std::shared_ptr<OQRecordTreeNode>& node) {
  if (node) _store->countDisplay(*node);
}

void OQSDKManager::_present(const std::shared_ptr<OQMessage>& message) {
  auto present = [self = shared_from_this(), message] { guarded([&] { self->_presentOnMainQueue(message); }); };
  OQDispatchQueueManager::dispatchInMainThread(present, true);
}

void OQSDKManager::_presentOnMainQueue(const std::shared_ptr<OQMessage>& message) {
  // Consent may have been withdrawn after the event was matched.
  if (message->isDropped() || OQConsent::isMissing()) return;
  auto action = [self = shared_from_this(), message](std::int64_t code, const JSONValue& link) {
    guarded([&] { self->_handleMessageAction(*message, code, link); });
  };
  auto present = [self = shared_from_this(), message, action] { self->presentWindow(message->window(), action); };
  if (!_control->handlers()->present) return present();
  auto removed = [self = shared_from_this(), message] { self->_handleNotice(*message, OQPopWindow::Notice::Removed); };
  presentByHost(message, _control, {action, removed, present});
}

void OQSDKManager::presentWindow(const std::shared_ptr<OQWindowData>& window, WindowAction action) {
  const auto popWindow = makeMainObject<OQPopWindow>();
  popWindow->setNetwork(network());
  if (const auto message = _control->find(*window)) {
    popWindow->setNoticeHandler(
        [self = shared_from_this(), message](OQPopWindow::Notice notice) { self->_handleNotice(*message, notice); });
  }
  popWindow->popOnMainQueue(window, std::move(action));
}

void OQSDKManager::_handleMessageAction(OQMessage& message, std::int64_t code, const JSONValue& link) {
  // The user acted before the dropped message was removed from the screen. The server gets no report, but the host is
  // notified that the message is gone.
  if (message.isDropped()) {
    if (code > OQWindowActionShown) _handleNotice(message, OQPopWindow::Notice::Removed);
    return;
  }
  const auto& window = *message.window();
  const auto handlers = _control->handlers();
  const auto call = [&](const auto& handler, const auto&... more) {
    if (handler) callHost([&] { handler(message.description(), more...); });
  };
  const auto clicked = [&](const char* entry) {
    message.end();
    OQLogger::log(entry);
    // Copied before the host's callbacks run, because they may set another user or forget this one.
    const Session session = _session.values();
    const unsigned forgettings = _forgettings;
    call(handlers->clicked, static_cast<MessageAction>(code));
    if (!message.isDropped()) _openLink(message, link);
    if (forgettings != _forgettings) return;
    const auto report = OQServerRequests::windowEvent(session, "$clickDialog", code, window);
    _reports->send(session, OQReports::Kind::WindowEvent, *report);
  };
  switch (code) {
    case OQWindowActionShown:
      OQLogger::log("显示弹窗，弹窗类型：%@", window.style());
      reportWindowEventWithName("$impDialog", code, window);
      return call(handlers->shown);
    case OQWindowActionPicture:
      return clicked("点击了弹窗图片");
    case OQWindowActionClosed:
      message.end();
      OQLogger::log("点击了弹窗关闭按钮");
      _store->markClosed(window);
      reportWindowEventWithName("$closeDialog", code, window);
      return call(handlers->closed);
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

void OQSDKManager::_handleNotice(OQMessage& message, OQPopWindow::Notice notice) {
  const bool isRemoved = notice == OQPopWindow::Notice::Removed;
  if (isRemoved && !message.end()) return;
  const auto handlers = _control->handlers();
  const auto& handler = isRemoved ? handlers->removed : handlers->shownWithoutPicture;
  if (handler) callHost([&] { handler(message.description()); });
}

void OQSDKManager::_openLink(const OQMessage& message, const JSONValue& link) {
  if (!isNonEmptyString(link)) return;
  const auto handlers = _control->handlers();
  bool isHandled = false;
  if (handlers->link) {
    callHost([&] { isHandled = handlers->link(message.description(), std::string(link.get_string())); });
  }
  if (!isHandled) OQLinks::open(std::string(link.get_string()));
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
