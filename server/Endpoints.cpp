// SPDX-License-Identifier: Apache-2.0
#include "Endpoints.h"

#include <iostream>

#include "CalendarTime.h"

namespace oq::server {

namespace json = boost::json;

namespace {

constexpr std::size_t kMaximumBodyDepth = 512;
constexpr std::size_t kLongestReportId = 64;

// Returns a member as a string. A null or absent member becomes "". A value of another type becomes its JSON text,
// since a client sends each value in the type in which its host application supplied it.
std::string stringOf(const json::object& object, std::string_view key) {
  const auto* value = object.if_contains(key);
  if (!value || value->is_null()) return {};
  return value->is_string() ? std::string(value->get_string()) : json::serialize(*value);
}

// The device of a login request. An empty string means unknown.
std::string deviceOf(const json::object& request) {
  const auto* os = request.if_contains("os");
  return os && os->is_object() ? stringOf(os->get_object(), "mac") : std::string();
}

std::optional<int> newUserOf(const json::object& request) {
  const auto* value = request.if_contains("newUser");
  if (!value || !value->is_int64()) return std::nullopt;
  return static_cast<int>(value->get_int64());
}

// The extensions that the client named. Entries that are not strings are ignored. Unknown names have no effect.
std::set<std::string, std::less<>> extensionsOf(const json::object& request) {
  std::set<std::string, std::less<>> names;
  const auto* list = request.if_contains("extensions");
  if (!list || !list->is_array()) return names;
  for (const auto& name : list->get_array()) {
    if (name.is_string()) names.emplace(name.get_string());
  }
  return names;
}

// The id that a client with the extension "reports" gives to each event; otherwise empty.
std::string reportIdOf(const json::object& event) {
  const auto* id = event.if_contains("id");
  if (!id || !id->is_string() || id->get_string().size() > kLongestReportId) return {};
  return std::string(id->get_string());
}

ReceivedEvent receivedEvent(const json::object& event) {
  const auto* context = event.if_contains("xcontext");
  return {reportIdOf(event), stringOf(event, "xwhat"), context ? json::serialize(*context) : "{}",
          json::serialize(event)};
}

std::string jsonString(std::string_view text) {
  return json::serialize(json::string_view(text.data(), text.size()));
}

}  // namespace

Reply refusal(int status, std::string_view message) {
  return {status, json::serialize(json::object{{"code", status}, {"message", message}})};
}

Endpoints::Endpoints(EventStore& store, const CurrentCampaigns& campaigns, std::ostream& eventLines)
    : _store(store), _campaigns(campaigns), _eventLines(eventLines) {}

Reply Endpoints::post(Environment environment, std::string_view path, std::string_view body) {
  json::parse_options options;
  options.max_depth = kMaximumBodyDepth;
  json::error_code error;
  const auto request = json::parse({body.data(), body.size()}, error, {}, options);
  if (error) return refusal(400, "the body is not valid JSON: " + error.message());
  if (!request.is_object()) return refusal(400, "the body must be a JSON object");
  try {
    return _answer(environment, path, request.get_object());
  } catch (const std::exception& problem) {
    std::cerr << "the database failed: " << problem.what() << std::endl;
    return refusal(500, "the server could not store or read its data");
  }
}

Reply Endpoints::_answer(Environment environment, std::string_view path, const Object& request) {
  if (path == login) return _login(request);
  if (path == inApp) return _list(environment, request, true);
  if (path == subscribe) return _list(environment, request, false);
  return _receive(environment, path, request);
}

// A refused key or token is answered with HTTP 200, since clients read "code" and "message" only in such responses.
Reply Endpoints::_login(const Object& request) {
  const auto* appKey = request.if_contains("appKey");
  if (!appKey || !appKey->is_string() || appKey->get_string().empty()) {
    return refusal(400, "appKey: must be a non-empty string");
  }
  const std::string key(appKey->get_string());
  const auto campaigns = _campaigns.get();
  if (campaigns->appKeys && campaigns->appKeys->count(key) == 0) {
    return {200, refusal(403, "this appKey is not accepted here").body};
  }
  const auto token = _store.createToken(key, deviceOf(request));
  json::array extensions;
  for (const auto name : extensionNames) extensions.emplace_back(name);
  return {200, json::serialize(json::object{
                   {"code", 0}, {"message", "ok"}, {"token", token}, {"extensions", std::move(extensions)}})};
}

Reply Endpoints::_list(Environment environment, const Object& request, bool windows) {
  const auto* token = request.if_contains("token");
  if (token && !token->is_string() && !token->is_null()) return refusal(400, "token: must be a string");
  if (!_store.knowsToken(stringOf(request, "token"))) {
    return {200, refusal(401, "unknown token: log in first").body};
  }
  const auto campaigns = _campaigns.get();
  const Audience audience{environment, newUserOf(request), stringOf(request, "userId"), extensionsOf(request)};
  const bool isTester =
      !windows && audience.extensions.contains(testerExtension) && campaigns->testers.contains(audience.userId);
  std::string body = R"({"code":0,"message":"ok",)";
  if (isTester) body += R"("tester":true,)";
  body += R"("data":[)";
  bool first = true;
  for (const auto& campaign : windows ? campaigns->windows : campaigns->subscriptions) {
    if (!campaign.isFor(audience)) continue;
    if (!first) body += ',';
    body += campaign.json;
    first = false;
  }
  return {200, body + "]}"};
}

Reply Endpoints::_receive(Environment environment, std::string_view path, const Object& request) {
  const auto* list = request.if_contains("events");
  if (!list || !list->is_array() || list->get_array().empty()) {
    return refusal(400, "events: must be an array of at least one object");
  }
  std::vector<ReceivedEvent> events;
  for (const auto& event : list->get_array()) {
    if (!event.is_object()) {
      return refusal(400, "events[" + std::to_string(events.size()) + "]: must be an object");
    }
    events.push_back(receivedEvent(event.get_object()));
  }
  const auto time = timestampNow();
  const auto user = stringOf(request, "userId");
  const auto stored = _store.append(time, nameOf(environment), path, user, events);
  _print(time, path, user, events, stored);
  return {200, R"({"code":0,"message":"ok"})"};
}

// User and name are written as JSON strings, so that a client cannot inject a line break.
void Endpoints::_print(std::string_view time, std::string_view path, std::string_view user,
                       const std::vector<ReceivedEvent>& events, const std::vector<bool>& stored) {
  std::lock_guard lock(_printing);
  for (std::size_t i = 0; i < events.size(); ++i) {
    if (!stored[i]) continue;
    const auto& event = events[i];
    _eventLines << time << ' ' << path << ' ' << jsonString(user) << ' ' << jsonString(event.name) << ' '
                << event.context << '\n';
  }
  _eventLines.flush();
}

Reply Endpoints::listEvents(const EventFilter& filter) try {
  std::string body = R"({"events":[)";
  bool first = true;
  for (const auto& event : _store.list(filter)) {
    if (!first) body += ',';
    first = false;
    body += R"({"id":)" + std::to_string(event.id) + R"(,"time":)" + jsonString(event.time) + R"(,"environment":)" +
            jsonString(event.environment) + R"(,"endpoint":)" + jsonString(event.endpoint) + R"(,"user":)" +
            jsonString(event.user) + R"(,"name":)" + jsonString(event.name) + R"(,"context":)" + event.context +
            R"(,"event":)" + event.body + "}";
  }
  return {200, body + "]}"};
} catch (const std::exception& problem) {
  return refusal(500, problem.what());
}

Reply Endpoints::status(Environment environment) try {
  const auto campaigns = _campaigns.get();
  return {200, json::serialize(json::object{{"server", "oqsdk-server"},
                                            {"version", OQSDK_SERVER_VERSION},
                                            {"environment", nameOf(environment)},
                                            {"windows", campaigns->windows.size()},
                                            {"subscriptions", campaigns->subscriptions.size()},
                                            {"events", _store.count()}})};
} catch (const std::exception& problem) {
  return refusal(500, problem.what());
}

}  // namespace oq::server
