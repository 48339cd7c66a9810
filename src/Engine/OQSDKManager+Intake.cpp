#include <algorithm>
#include <utility>

#include "Engine/OQSDKManager.h"
#include "Foundation/Values/Format.h"
#include "Foundation/Values/Number.h"
#include "Model/OQWindowData.h"
#include "Model/OQWindowEvent.h"
#include "Storage/OQUserDefaults.h"
#include "Utils/OQLogger.h"
#include "Utils/OQSDKBundleIdentifier.h"
#include "Utils/OQUtils.h"
#include "oqsdk/OQSDKConstants.h"

namespace oq {

void OQSDKManager::onEventDataReceived(const JSONValue& info) {
  if (!info.is_object()) return;
  OQLogger::log("收到event回调：\n%@", info);
  _keepUserId(valueForKey(info, "xwho"));
  setAppid(_textOrNil(valueForKey(info, "appid")));
  // Looked at but without consequence: page views are matched like any other event. This is intentional.
  [[maybe_unused]] const bool isPageView = valueForKey(info, "xwhat") == JSONValue("$pageview");

  auto event = std::make_shared<OQWindowEvent>();
  event->setModelWithDic(info);
  triggerEventMatch(event);
}

void OQSDKManager::_keepUserId(const JSONValue& xwho) {
  std::optional<std::string> userId = _textOrNil(xwho);
  OQUserDefaults::defaultsWithName("group.oqsdk").setObject(userId ? JSONValue(*userId) : JSONValue(), "oq_xwho");
  setUserId(std::move(userId));
}

void OQSDKManager::triggerEventMatch(const std::shared_ptr<OQWindowEvent>& event) {
  triggerEventMatchInApp(event);
  triggerEventMatchSubscribe(event);
}

void OQSDKManager::triggerEventMatchInApp(const std::shared_ptr<OQWindowEvent>& event) {
  if (!event) return;
  const Turn turn = _listOrWait(_stored().inApp, _waitingEvents, event);
  if (!turn.list) return _decisions.record(turn.isDropped ? OQDecision::Dropped : OQDecision::Waiting, event.get());
  const OQCampaignMatch match = turn.list->match(*event);
  _notePassedOver(*event, *turn.list, match);
  if (match.position == OQCampaignMatch::nowhere) return _decisions.record(OQDecision::NoMatch, event.get());
  // First match wins, even when that window then decides not to show itself.
  _showWindowWithData(turn.list->windows()[match.position], event.get());
}

void OQSDKManager::_notePassedOver(const OQWindowEvent& event, const OQCampaignList& list,
                                   const OQCampaignMatch& match) {
  for (std::size_t i = 0; i < match.passedOverCount; ++i) {
    const auto& [position, isWaiting] = match.passedOver[i];
    const auto reason = isWaiting ? OQDecision::PreConditionNotMet : OQDecision::AnotherWindowFirst;
    _decisions.record(reason, &event, list.windows()[position]);
  }
}

void OQSDKManager::triggerEventMatchSubscribe(const std::shared_ptr<OQWindowEvent>& event) {
  if (!event) return;
  const Turn turn = _listOrWait(_stored().subscribe, _waitingEvents1, event);
  if (turn.list && turn.list->match(*event).position != OQCampaignMatch::nowhere) triggerEvent(event);
}

OQSDKManager::Turn OQSDKManager::_listOrWait(const Snapshot<OQCampaignList>& list, Events& waiting,
                                             const std::shared_ptr<OQWindowEvent>& event) {
  auto current = list.load();
  if (!current->empty()) return {current};
  // Looked at again under the lock under which a list is installed: an event that waits is sure to be
  // replayed.
  std::lock_guard lock(_displayMutex);
  current = list.load();
  if (!current->empty()) return {current};
  if (std::ranges::find(waiting, event) != waiting.end()) return {nullptr};
  // The oldest are kept, not the newest; this is meant.
  if (static_cast<std::int64_t>(waiting.size()) >= maxWaitingReceivedEventsNum()) return {nullptr, true};
  waiting.push_back(event);
  return {nullptr};
}

JSONValue OQSDKManager::_eventRequestBody(const OQWindowEvent& event) const {
  const Session session = _session();
  return {{"os",
           {{"brand", "iphone"},
            {"channel", "default"},
            {"packageName", OQSDK_BUNDLE_IDENTIFIER},
            {"platform", "ios"},
            {"version", OQUtils::getOSVersion()}}},
          {"sdkVersion", OQSDKVersion},
          {"token", session.token.value_or("")},
          {"userId", session.userId.value_or("")},
          {"events", JSONArray{event.toDictionary()}}};
}

void OQSDKManager::triggerEvent(const std::shared_ptr<OQWindowEvent>& event) {
  if (!event) return;
  _post("/push/sdk/event/trigger", _eventRequestBody(*event), [event](OQSDKManager&, const auto& answer) {
    if (_isSuccess(answer)) OQLogger::log("触发事件成功!事件名：%@", event->xwhat());
    OQLogger::log("触发事件 data:\n%@", answer);
  });
}

void OQSDKManager::autoPageCollected(const std::string& name) {
  setPageName(name);
}

void OQSDKManager::pushTrack(std::uint64_t type, const JSONValue& msg) {
  reportPushEventWithType(type, msg);
}

}  // namespace oq
