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

/// The "os" object, which every body has, with the additional entries `more`.
JSONValue deviceWith(const JSONDictionary& more) {
  JSONDictionary device{
      {"brand", "iphone"}, {"channel", "default"}, {"platform", "ios"}, {"version", OQUtils::getOSVersion()}};
  device.insert(more.begin(), more.end());
  return device;
}

JSONValue loginBody(const OQSession::Values& session) {
  // "packageName" is the library's own identifier and not the host's; this is intentional, here and in reportsBody().
  return {{"os", deviceWith({{"mac", OQUtils::getUUID()}, {"packageName", OQSDK_BUNDLE_IDENTIFIER}})},
          {"sdkVersion", OQSDKVersion},
          {"appKey", session.configuration ? session.configuration->appKey() : std::string()}};
}

JSONValue listBody(const OQSession::Values& session) {
  // isNewUser means the opposite of its name (see OQSession). It is inverted here, so that "newUser" is 1 if no user id
  // was stored at the start. Both inversions are intentional.
  JSONDictionary body{{"newUser", session.isNewUser ? 0 : 1},
                      {"os", deviceWith({})},
                      {"sdkVersion", OQSDKVersion},
                      {"token", session.token.value_or("")},
                      {"userId", session.userId.value_or("")}};
  if (session.currentOffer()) body["extensions"] = OQExtensions::names();
  return body;
}

JSONValue reportsBody(const OQServerRequests::Reports& reports) {
  return {{"os", deviceWith({{"packageName", OQSDK_BUNDLE_IDENTIFIER}})},
          {"sdkVersion", OQSDKVersion},
          {"token", reports.token},
          {"userId", reports.userId},
          {"events", reports.events}};
}

/// Called with the parsed body of an answer with status 200 (nullopt if it is not JSON), and with the owner, which
/// stays alive during the call.
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

/// Whether the answer is a dictionary whose "code" is 0; any other "code" is logged.
bool isSuccess(const std::optional<JSONValue>& answer) {
  if (!answer || !answer->is_object()) return false;
  const std::int64_t code = integerValue(valueForKey(*answer, "code"));
  if (code == 0) return true;
  OQLogger::error(stringWithFormat("code:%@\nmessage:%@\n", code, valueForKey(*answer, "message")));
  return false;
}

void logAcknowledged(const OQServerRequests::Reports& reports) {
  for (const JSONValue& event : reports.events) {
    if (reports.kind == OQServerRequests::ReportKind::SubscribedEvent) {
      OQLogger::log("触发事件成功!事件名：%@", valueForKey(event, "xwhat"));
    } else {
      OQLogger::log("上报事件成功, event:%@", event);
    }
  }
}

OQServerRequests::ReportOutcome outcomeOf(std::int64_t status) {
  const bool isRefused = status >= 400 && status < 500 && status != 408 && status != 429;
  return isRefused ? OQServerRequests::ReportOutcome::Refused : OQServerRequests::ReportOutcome::Failed;
}

/// Logs the response and returns its meaning.
OQServerRequests::ReportOutcome handleReportsResponse(const OQServerRequests::Reports& reports, std::int64_t status,
                                                      const Data& data) {
  using Outcome = OQServerRequests::ReportOutcome;
  if (status != 200) {
    OQLogger::error(status);
    return outcomeOf(status);
  }
  const auto answer = valueWithJSONData(data);
  auto outcome = answer && answer->is_object() ? Outcome::Refused : Outcome::Failed;
  if (isSuccess(answer)) {
    outcome = Outcome::Acknowledged;
    logAcknowledged(reports);
  }
  const bool isSubscribed = reports.kind == OQServerRequests::ReportKind::SubscribedEvent;
  OQLogger::log(isSubscribed ? "触发事件 data:\n%@" : "上报事件 data:\n%@", answer);
  return outcome;
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
  getList("/push/sdk/in_app", "in_app data:\n%@", session, std::move(owner), std::move(take), nullptr);
}

void OQServerRequests::getSubscribeList(const Session& session, Owner owner, Campaigns take, Answered answered) {
  getList("/push/sdk/event/subscribe", "subscribe data:\n%@", session, std::move(owner), std::move(take),
          std::move(answered));
}

void OQServerRequests::getList(const char* path, const char* entry, const Session& session, Owner owner, Campaigns take,
                               Answered answered) {
  const auto handle = [take = std::move(take), answered = std::move(answered),
                       entry](const std::optional<JSONValue>& answer) {
    if (isSuccess(answer)) {
      if (answered) answered(*answer);
      // An answer without campaigns leaves the present list unchanged.
      const JSONArray* records = valueForKey(*answer, "data").if_array();
      if (records && !records->empty()) take(*records);
    }
    OQLogger::log(entry, answer);
  };
  post(path, listBody(session), std::move(owner), [this, handle](std::optional<JSONValue> answer, const auto& held) {
    _listAnswers.run([held, handle, answer = std::move(answer)] { handle(answer); });
  });
}

void OQServerRequests::sendReports(Reports reports, ReportsAnswered answered) {
  const JSONValue body = reportsBody(reports);
  const char* path =
      reports.kind == ReportKind::SubscribedEvent ? "/push/sdk/event/trigger" : "/push/sdk/in_app/callback";
  auto success = [reports = std::move(reports), answered](const URLResponse& response, const Data& data) {
    ReportAnswer answer{ReportOutcome::Failed, std::chrono::seconds(response.retryAfter)};
    guarded([&] { answer.outcome = handleReportsResponse(reports, response.statusCode, data); });
    guarded([&] { answered(answer); });
  };
  auto failure = [answered](const Error& error) {
    guarded([&] { OQLogger::error(error); });
    guarded([&] { answered({ReportOutcome::Failed}); });
  };
  OQNetwork::randomNetwork()->postRequestWithRelativeURLStr(path, nullptr, body, std::move(success),
                                                            std::move(failure));
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
