// SPDX-License-Identifier: Apache-2.0
#include "Requests/OQServerRequests.h"

#include <cmath>
#include <utility>

#include "Foundation/Values/Date.h"
#include "Foundation/Values/Format.h"
#include "Foundation/Values/JSONSerialization.h"
#include "Foundation/Values/Number.h"
#include "Requests/OQNetwork.h"
#include "Utils/OQGuard.h"
#include "Utils/OQLogger.h"
#include "Utils/OQSDKBundleIdentifier.h"
#include "Utils/OQUtils.h"
#include "oqsdk/OQSDKConstants.h"

namespace oq {

namespace {

/// The "os" object of every body, with the request's own entries.
JSONValue deviceWith(const JSONDictionary& more) {
  JSONDictionary device{
      {"brand", "iphone"}, {"channel", "default"}, {"platform", "ios"}, {"version", OQUtils::getOSVersion()}};
  device.insert(more.begin(), more.end());
  return device;
}

JSONValue loginBody(const OQSession::Values& session) {
  // "packageName" is the library's own identifier and not the host's; this is intentional, here and in eventBody().
  return {{"os", deviceWith({{"mac", OQUtils::getUUID()}, {"packageName", OQSDK_BUNDLE_IDENTIFIER}})},
          {"sdkVersion", OQSDKVersion},
          {"appKey", session.configuration ? session.configuration->appKey() : std::string()}};
}

JSONValue listBody(const OQSession::Values& session) {
  // Inverted a second time, so that 1 means that no user id was stored at the start. Both inversions are intentional.
  return {{"newUser", session.isNewUser ? 0 : 1},
          {"os", deviceWith({})},
          {"sdkVersion", OQSDKVersion},
          {"token", session.token.value_or("")},
          {"userId", session.userId.value_or("")}};
}

JSONValue eventBody(const OQSession::Values& session, const OQWindowEvent& event) {
  return {{"os", deviceWith({{"packageName", OQSDK_BUNDLE_IDENTIFIER}})},
          {"sdkVersion", OQSDKVersion},
          {"token", session.token.value_or("")},
          {"userId", session.userId.value_or("")},
          {"events", JSONArray{event.toDictionary()}}};
}

/// Gets the parsed answer of status 200, or nullopt if the answer is not JSON. Also gets the owner, which stays alive
/// during the call.
using Handler = std::function<void(std::optional<JSONValue> answer, const std::shared_ptr<const void>& owner)>;

void post(const char* path, const JSONValue& body, OQServerRequests::Owner owner, Handler handler) {
  auto success = [weak = std::move(owner), handler = std::move(handler)](const URLResponse& response,
                                                                         const Data& data) {
    guarded([&] {
      const auto held = weak.lock();
      if (!held) return;
      if (response.statusCode != 200) return OQLogger::error(response.statusCode);
      handler(valueWithJSONData(data), held);
    });
  };
  auto failure = [](const Error& error) { guarded([&] { OQLogger::error(error); }); };
  OQNetwork::randomNetwork()->postRequestWithRelativeURLStr(path, nullptr, body, std::move(success),
                                                            std::move(failure));
}

/// Whether the answer is a dictionary with code 0; another code is logged.
bool isSuccess(const std::optional<JSONValue>& answer) {
  if (!answer || !answer->is_object()) return false;
  const std::int64_t code = integerValue(valueForKey(*answer, "code"));
  if (code == 0) return true;
  OQLogger::error(stringWithFormat("code:%@\nmessage:%@\n", code, valueForKey(*answer, "message")));
  return false;
}

void postEvent(const char* path, const OQSession::Values& session, OQServerRequests::Owner owner,
               const OQWindowEvent& event, std::function<void()> succeeded, const char* entry) {
  post(path, eventBody(session, event), std::move(owner),
       [succeeded = std::move(succeeded), entry](const std::optional<JSONValue>& answer, const auto&) {
         if (isSuccess(answer)) succeeded();
         OQLogger::log(entry, answer);
       });
}

std::shared_ptr<OQWindowEvent> eventNamed(const std::string& name, const OQSession::Values& session,
                                          JSONDictionary context) {
  auto event = std::make_shared<OQWindowEvent>();
  event->setAppid(JSONValue(session.appid.value_or("")));
  event->setXwho(JSONValue(session.userId.value_or("")));
  event->setXwhen(std::nearbyint(secondsSince1970(currentDate()) * 1000.0));
  event->setXwhat(JSONValue(name));
  event->setXcontext(JSONValue(std::move(context)));
  return event;
}

}  // namespace

void OQServerRequests::login(const Session& session, Owner owner, Answered answered) {
  post("/push/sdk/login", loginBody(session), std::move(owner),
       [answered = std::move(answered)](const std::optional<JSONValue>& answer, const auto&) {
         if (isSuccess(answer)) answered(*answer);
         OQLogger::log("login data:\n%@", answer);
       });
}

void OQServerRequests::getInAppList(const Session& session, Owner owner, Campaigns take) {
  getList("/push/sdk/in_app", "in_app data:\n%@", session, std::move(owner), std::move(take));
}

void OQServerRequests::getSubscribeList(const Session& session, Owner owner, Campaigns take) {
  getList("/push/sdk/event/subscribe", "subscribe data:\n%@", session, std::move(owner), std::move(take));
}

void OQServerRequests::getList(const char* path, const char* entry, const Session& session, Owner owner,
                               Campaigns take) {
  const auto handle = [take = std::move(take), entry](const std::optional<JSONValue>& answer) {
    if (isSuccess(answer)) {
      // An answer without campaigns changes nothing.
      const JSONArray* records = valueForKey(*answer, "data").if_array();
      if (records && !records->empty()) take(*records);
    }
    OQLogger::log(entry, answer);
  };
  post(path, listBody(session), std::move(owner), [this, handle](std::optional<JSONValue> answer, const auto& held) {
    _listAnswers.run([held, handle, answer = std::move(answer)] { handle(answer); });
  });
}

void OQServerRequests::triggerEvent(const Session& session, Owner owner, std::shared_ptr<const OQWindowEvent> event) {
  postEvent(
      "/push/sdk/event/trigger", session, std::move(owner), *event,
      [event] { OQLogger::log("触发事件成功!事件名：%@", event->xwhat()); }, "触发事件 data:\n%@");
}

void OQServerRequests::reportEvent(const Session& session, Owner owner, std::shared_ptr<const OQWindowEvent> event) {
  postEvent(
      "/push/sdk/in_app/callback", session, std::move(owner), *event,
      [event] { OQLogger::log("上报事件成功, event:%@", event->toDictionary()); }, "上报事件 data:\n%@");
}

std::shared_ptr<OQWindowEvent> OQServerRequests::windowEvent(const Session& session,
                                                             const std::optional<std::string>& name, std::int64_t type,
                                                             const OQWindowData& window) {
  JSONDictionary context{{"$dialog_id", orEmptyString(window.windowId())}};
  if (type != 0) context["$dialog_type"] = type;
  return eventNamed(name.value_or(""), session, std::move(context));
}

std::shared_ptr<OQWindowEvent> OQServerRequests::pushEvent(const Session& session, std::uint64_t type,
                                                           const JSONValue& msg) {
  if (!msg.is_object() || type > 1) return nullptr;
  return eventNamed(type == 0 ? "$oq_push_delivery" : "$oq_push_click", session,
                    {{"$push_channel", orEmptyString(valueForKey(msg, "$push_channel"))},
                     {"activityId", orEmptyString(valueForKey(msg, "activityId"))}});
}

}  // namespace oq
