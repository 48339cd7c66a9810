#include "Engine/OQSDKManager.h"

#include <utility>

#include "Dispatch/DispatchQueue.h"
#include "Foundation/Files/FileManager.h"
#include "Foundation/Values/Format.h"
#include "Hooks/OQSwizzler.h"
#include "Model/OQRecordTree.h"
#include "Model/OQWindowData.h"
#include "Model/OQWindowEvent.h"
#include "Pages/OQPageCollection.h"
#include "Storage/OQDataArchiver.h"
#include "Storage/OQUserDefaults.h"
#include "Utils/OQGuard.h"
#include "WebKit/WebEngineRegistry.h"
#include "oqsdk/AnalyticsHook.h"

namespace oq {

namespace {

/// What the file of an earlier run holds; a missing or damaged one reads as empty.
template <class T>
std::vector<std::shared_ptr<T>> restored(const char* fileName) {
  auto objects = OQDataArchiver::getDataForPath<T>(documentsDirectory() / fileName);
  return objects ? std::move(*objects) : std::vector<std::shared_ptr<T>>();
}

std::shared_ptr<const OQSDKManager::Windows> windowsOf(std::shared_ptr<const OQCampaignList> list) {
  return {list, &list->windows()};
}

}  // namespace

Class* OQSDKManager::staticClass() {
  static Class* registered = registerClass("OQSDKManager", Object::staticClass());
  return registered;
}

OQSDKManager& OQSDKManager::sharedManager() {
  // Leaked on purpose.
  static auto* shared = new std::shared_ptr<OQSDKManager>(_startReading());
  return **shared;
}

OQSDKManager::OQSDKManager() {
  OQUserDefaults& defaults = OQUserDefaults::defaultsWithName("group.oqsdk");
  const JSONValue storedUserId = defaults.objectForKey("oq_xwho");
  _isNewUser = !storedUserId.is_null();
  _fields.token = _textOrNil(defaults.objectForKey("oq_token"));
  _fields.userId = _textOrNil(storedUserId);
}

OQSDKManager::~OQSDKManager() = default;

std::shared_ptr<OQSDKManager> OQSDKManager::_startReading() {
  auto engine = std::make_shared<OQSDKManager>();
  // The thread that starts the library goes on meanwhile. Whoever needs a campaign before it is there waits for it.
  guarded([&] { DispatchQueue::background().async([engine] { guarded([&] { engine->_stored(); }); }); });
  return engine;
}

OQSDKManager::Stored& OQSDKManager::_stored() const {
  if (!_isRestored.load(std::memory_order_acquire)) _restore();
  return _storedFields;
}

void OQSDKManager::_restore() const {
  std::lock_guard lock(_restoreMutex);
  if (_isRestored.load(std::memory_order_relaxed)) return;
  // All of it or, out of memory, nothing: the next one tries again.
  auto inApp = std::make_shared<const OQCampaignList>(restored<OQWindowData>(OQInAppWindowDataFileName));
  auto subscribe = std::make_shared<const OQCampaignList>(restored<OQWindowData>(OQSubscribeWindowDataFileName),
                                                          OQCampaignList::PreConditions::Ignored);
  auto tree = OQRecordTree::treeWithNodes(std::make_shared<OQRecordTree::Nodes>(_records.read()));
  _clearActivated(*tree);
  _preparePages(*inApp);
  _storedFields.inApp.exchange(std::move(inApp));
  _storedFields.subscribe.exchange(std::move(subscribe));
  _storedFields.recordTree = std::move(tree);
  _storedFields.treeNodesInit = true;
  _isRestored.store(true, std::memory_order_release);
}

void OQSDKManager::_preparePages(const OQCampaignList& list) {
  if (list.leadsToPages()) DispatchQueue::main().async(prepareWebEngine);
}

void OQSDKManager::_clearActivated(const OQRecordTree& tree) {
  for (const auto& node : tree.copyOfNodes()) node->beginRun();
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
  // Without a configuration nothing is stored; a host that chooses before the start asks its own
  // configuration.
  if (auto configuration = sharedManager().configuration()) configuration->setEnvType(environment);
}

std::uint64_t OQSDKManager::getEnvironment() {
  return static_cast<std::uint64_t>(OQUserDefaults::defaultsWithName("group.oqsdk").integerForKey("envType"));
}

std::optional<std::string> OQSDKManager::_textOrNil(const JSONValue& value) {
  if (value.is_null()) return std::nullopt;
  return descriptionOf(value);
}

OQSDKManager::Session OQSDKManager::_session() const {
  std::lock_guard lock(_sessionMutex);
  return _fields;
}

template <class Field>
Field OQSDKManager::_field(Field Session::*field) const {
  std::lock_guard lock(_sessionMutex);
  return _fields.*field;
}

template <class Field>
void OQSDKManager::_setField(Field Session::*field, Field value) {
  // The former value is released by the caller's copy, outside the lock.
  std::lock_guard lock(_sessionMutex);
  std::swap(_fields.*field, value);
}

std::shared_ptr<TorvelinOqConfig> OQSDKManager::configuration() const {
  return _field(&Session::configuration);
}
void OQSDKManager::setConfiguration(std::shared_ptr<TorvelinOqConfig> configuration) {
  _setField(&Session::configuration, std::move(configuration));
}
std::optional<std::string> OQSDKManager::token() const {
  return _field(&Session::token);
}
void OQSDKManager::setToken(std::optional<std::string> token) {
  _setField(&Session::token, std::move(token));
}
std::optional<std::string> OQSDKManager::userId() const {
  return _field(&Session::userId);
}
void OQSDKManager::setUserId(std::optional<std::string> userId) {
  _setField(&Session::userId, std::move(userId));
}
std::optional<std::string> OQSDKManager::appid() const {
  return _field(&Session::appid);
}
void OQSDKManager::setAppid(std::optional<std::string> appid) {
  _setField(&Session::appid, std::move(appid));
}
std::optional<std::string> OQSDKManager::pageName() const {
  return _field(&Session::pageName);
}
void OQSDKManager::setPageName(std::optional<std::string> pageName) {
  _setField(&Session::pageName, std::move(pageName));
}

std::shared_ptr<OQNetwork> OQSDKManager::network() {
  if (auto known = _field(&Session::network)) return known;
  auto made = OQNetwork::randomNetwork();
  std::lock_guard lock(_sessionMutex);
  if (!_fields.network) _fields.network = std::move(made);
  return _fields.network;
}
void OQSDKManager::setNetwork(std::shared_ptr<OQNetwork> network) {
  _setField(&Session::network, std::move(network));
}

std::shared_ptr<const OQSDKManager::Windows> OQSDKManager::inAppDataArray() const {
  return windowsOf(_stored().inApp.load());
}
void OQSDKManager::setInAppDataArray(Windows windows) {
  auto list = std::make_shared<const OQCampaignList>(std::move(windows));
  Stored& stored = _stored();
  std::lock_guard lock(_displayMutex);
  list = stored.inApp.exchange(std::move(list));
}
std::shared_ptr<const OQSDKManager::Windows> OQSDKManager::subscribeDataArray() const {
  return windowsOf(_stored().subscribe.load());
}
void OQSDKManager::setSubscribeDataArray(Windows windows) {
  auto list = std::make_shared<const OQCampaignList>(std::move(windows), OQCampaignList::PreConditions::Ignored);
  Stored& stored = _stored();
  std::lock_guard lock(_displayMutex);
  list = stored.subscribe.exchange(std::move(list));
}

std::shared_ptr<OQRecordTree> OQSDKManager::recordTree() const {
  const Stored& stored = _stored();
  std::lock_guard lock(_displayMutex);
  return stored.recordTree;
}
void OQSDKManager::setRecordTree(std::shared_ptr<OQRecordTree> tree) {
  if (!tree) tree = std::make_shared<OQRecordTree>();
  Stored& stored = _stored();
  std::lock_guard lock(_displayMutex);
  std::swap(stored.recordTree, tree);
}

OQSDKManager::Events OQSDKManager::waitingEvents() const {
  std::lock_guard lock(_displayMutex);
  return _waitingEvents;
}
void OQSDKManager::setWaitingEvents(Events events) {
  std::lock_guard lock(_displayMutex);
  std::swap(_waitingEvents, events);
}
OQSDKManager::Events OQSDKManager::waitingEvents1() const {
  std::lock_guard lock(_displayMutex);
  return _waitingEvents1;
}
void OQSDKManager::setWaitingEvents1(Events events) {
  std::lock_guard lock(_displayMutex);
  std::swap(_waitingEvents1, events);
}

}  // namespace oq
