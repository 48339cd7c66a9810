#include <utility>

#include "Engine/OQSDKManager.h"
#include "Foundation/Stores/UserDefaults.h"
#include "Foundation/Values/Date.h"
#include "Foundation/Values/Format.h"
#include "Foundation/Values/JSONSerialization.h"
#include "Foundation/Values/Number.h"
#include "Model/OQRecordTree.h"
#include "Model/OQWindowData.h"
#include "Storage/OQUserDefaults.h"
#include "Utils/OQGuard.h"
#include "Utils/OQLogger.h"
#include "Utils/OQSDKBundleIdentifier.h"
#include "Utils/OQUtils.h"
#include "oqsdk/OQSDKConstants.h"

namespace oq {

namespace {

constexpr const char* lastUpdateKey = "OQWindowDataLastUpdateTime";

/// The campaigns of an answer; nullptr when there are none, and then nothing changes.
const JSONArray* campaignsOf(const std::optional<JSONValue>& answer) {
  const JSONArray* records = valueForKey(*answer, "data").if_array();
  return records && !records->empty() ? records : nullptr;
}

std::optional<URL> pictureURL(const OQWindowData& window) {
  const auto* picture = window.picture().if_string();
  return picture ? URL::withString(*picture) : std::nullopt;
}

bool wasFetchedToday() {
  const PropertyValue stored = UserDefaults::standardUserDefaults()->objectForKey(lastUpdateKey);
  const Date* last = std::get_if<Date>(&stored);
  return OQUtils::isSameDay(currentDate(), last ? std::optional(*last) : std::nullopt);
}

}  // namespace

void OQSDKManager::_post(const std::string& path, const JSONValue& body, AnswerHandler handler) {
  auto success = [weak = weak_from_this(), handler = std::move(handler)](const URLResponse& response,
                                                                         const Data& data) {
    guarded([&] {
      auto engine = weak.lock();
      if (!engine) return;
      if (response.statusCode != 200) {
        OQLogger::error(response.statusCode);
        return;
      }
      handler(*engine, valueWithJSONData(data));
    });
  };
  auto failure = [](const Error& error) { guarded([&] { OQLogger::error(error); }); };
  OQNetwork::randomNetwork()->postRequestWithRelativeURLStr(path, nullptr, body, std::move(success),
                                                            std::move(failure));
}

bool OQSDKManager::_isSuccess(const std::optional<JSONValue>& answer) {
  if (!answer || !answer->is_object()) return false;
  const std::int64_t code = integerValue(valueForKey(*answer, "code"));
  if (code == 0) return true;
  OQLogger::error(stringWithFormat("code:%@\nmessage:%@\n", code, valueForKey(*answer, "message")));
  return false;
}

void OQSDKManager::login() {
  const auto host = configuration();
  // "packageName" is the library's own identifier and not the host's; this is intentional.
  const JSONValue body = {{"os",
                           {{"brand", "iphone"},
                            {"channel", "default"},
                            {"platform", "ios"},
                            {"version", OQUtils::getOSVersion()},
                            {"mac", OQUtils::getUUID()},
                            {"packageName", OQSDK_BUNDLE_IDENTIFIER}}},
                          {"sdkVersion", OQSDKVersion},
                          {"appKey", host ? host->appKey() : std::string()}};
  _post("/push/sdk/login", body, [](OQSDKManager& engine, const auto& answer) { engine._handleLoginAnswer(answer); });
}

void OQSDKManager::_handleLoginAnswer(const std::optional<JSONValue>& answer) {
  if (_isSuccess(answer)) {
    const std::optional<std::string> token = _textOrNil(valueForKey(*answer, "token"));
    setToken(token);
    OQUserDefaults::defaultsWithName("group.oqsdk").setObject(token ? JSONValue(*token) : JSONValue(), "oq_token");
    getListData();
  }
  OQLogger::log("login data:\n%@", answer);
}

void OQSDKManager::getListData() {
  const Session session = _session();
  if (session.token.value_or("").empty() || session.userId.value_or("").empty()) return;
  getSubscribeList();
  _dailyFetches.run([self = shared_from_this()] {
    if (wasFetchedToday()) return;
    self->getInAppList();
    // Stored when the request is sent, whatever becomes of it: a failed fetch is not repeated on the same
    // day.
    auto defaults = UserDefaults::standardUserDefaults();
    defaults->setObject(currentDate(), lastUpdateKey);
    defaults->synchronize();
  });
}

JSONValue OQSDKManager::_listRequestBody() const {
  const Session session = _session();
  // Inverted a second time, so that 1 means that no user id was stored at the start. Both inversions are
  // intentional.
  const int newUser = isNewUser() ? 0 : 1;
  return {
      {"newUser", newUser},
      {"os", {{"brand", "iphone"}, {"channel", "default"}, {"platform", "ios"}, {"version", OQUtils::getOSVersion()}}},
      {"sdkVersion", OQSDKVersion},
      {"token", session.token.value_or("")},
      {"userId", session.userId.value_or("")}};
}

void OQSDKManager::_postForList(const std::string& path,
                                void (OQSDKManager::*handle)(const std::optional<JSONValue>& answer)) {
  _post(path, _listRequestBody(), [handle](OQSDKManager& engine, std::optional<JSONValue> answer) {
    engine._listAnswers.run(
        [self = engine.shared_from_this(), handle, answer = std::move(answer)] { ((*self).*handle)(answer); });
  });
}

void OQSDKManager::getInAppList() {
  _postForList("/push/sdk/in_app", &OQSDKManager::_handleInAppAnswer);
}

void OQSDKManager::getSubscribeList() {
  _postForList("/push/sdk/event/subscribe", &OQSDKManager::_handleSubscribeAnswer);
}

void OQSDKManager::_handleInAppAnswer(const std::optional<JSONValue>& answer) {
  if (_isSuccess(answer)) {
    if (const JSONArray* records = campaignsOf(answer)) {
      for (const auto& event : _installInAppList(*records)) triggerEventMatchInApp(event);
    }
  }
  OQLogger::log("in_app data:\n%@", answer);
}

OQSDKManager::Events OQSDKManager::_installInAppList(const JSONArray& records) {
  OQRecordTree& scratch = OQRecordTree::defaultTree();
  scratch.removeAllTreeNodes();
  Windows windows;
  windows.reserve(records.size());
  for (const JSONValue& record : records) {
    const auto window = OQCampaignList::windowFrom(record);
    windows.push_back(window);
    scratch.addTreeNode(OQCampaignList::recordFor(*window));
    // Only so that the picture is in the cache before the window is shown.
    downloadImageWithURL(pictureURL(*window), nullptr);
  }
  auto list = std::make_shared<const OQCampaignList>(std::move(windows));
  _preparePages(*list);
  Stored& stored = _stored();
  Events waited;
  {
    const auto access = _shareRecords();
    std::lock_guard lock(_displayMutex);
    // The records first: whoever sees the new list without the lock finds them merged.
    stored.recordTree->updateWithTree(scratch);
    list = stored.inApp.exchange(std::move(list));
    waited.swap(_waitingEvents);
  }
  clearTreeNodeActivateState();
  syncInAppData();
  _writeRecordsOrTryLater(_shareRecords());
  return waited;
}

void OQSDKManager::_handleSubscribeAnswer(const std::optional<JSONValue>& answer) {
  if (_isSuccess(answer)) {
    if (const JSONArray* records = campaignsOf(answer)) {
      for (const auto& event : _installSubscribeList(*records)) triggerEventMatchSubscribe(event);
    }
  }
  OQLogger::log("subscribe data:\n%@", answer);
}

OQSDKManager::Events OQSDKManager::_installSubscribeList(const JSONArray& records) {
  // Subscriptions are never shown: no records, no pictures.
  Windows windows;
  windows.reserve(records.size());
  for (const JSONValue& record : records) windows.push_back(OQCampaignList::windowFrom(record));
  auto list = std::make_shared<const OQCampaignList>(std::move(windows), OQCampaignList::PreConditions::Ignored);
  Stored& stored = _stored();
  Events waited;
  {
    std::lock_guard lock(_displayMutex);
    list = stored.subscribe.exchange(std::move(list));
    waited.swap(_waitingEvents1);
  }
  syncSubscribeData();
  return waited;
}

}  // namespace oq
