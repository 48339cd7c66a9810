// SPDX-License-Identifier: Apache-2.0
#include "CampaignChecker.h"

#include <algorithm>
#include <array>
#include <map>
#include <optional>

#include "CalendarTime.h"
#include "CampaignSchema.h"
#include "JsonPath.h"
#include "JsonSchema.h"

namespace oq::server {

namespace json = boost::json;

namespace {

// Keys for the server only; they are never sent to clients.
constexpr std::array<std::string_view, 4> serverKeys = {"environments", "newUser", "userIds", "requires"};

const JsonSchema& schema() {
  static const JsonSchema compiled(campaignSchema);
  return compiled;
}

// JSON null counts as absent, as it does in the client.
const json::value* present(const json::object& object, std::string_view key) {
  const auto* value = object.if_contains(key);
  return value && !value->is_null() ? value : nullptr;
}

// Returns a string member of the campaign, or nullopt if it is absent or has another type. The schema check has already
// reported a wrong type.
std::optional<std::string_view> textOf(const json::object& campaign, std::string_view key) {
  const auto* value = campaign.if_contains(key);
  if (!value || !value->is_string()) return std::nullopt;
  return std::string_view(value->get_string());
}

// Clients convert ids to numbers, so 7 and "007" are the same id and have the same canonical form.
std::string canonicalId(const json::value& id) {
  if (!id.is_string()) return json::serialize(id);
  const std::string_view digits = id.get_string();
  const auto first = digits.find_first_not_of('0');
  return first == digits.npos ? "0" : std::string(digits.substr(first));
}

std::size_t environmentNamed(std::string_view name) {
  const auto found = std::find(std::begin(environmentNames), std::end(environmentNames), name);
  return static_cast<std::size_t>(found - std::begin(environmentNames));
}

}  // namespace

Campaigns CampaignChecker::check(const json::value& root) {
  schema().check(root, _report);
  const auto* object = root.if_object();
  if (!object) return {};
  _checkList(*object, "windows", Kind::window);
  _checkList(*object, "subscriptions", Kind::subscription);
  // Only files without errors get past this line, so the code below relies on the type of every value.
  if (!_report.errors.empty()) return {};
  Campaigns campaigns;
  campaigns.windows = _campaignsFrom(*object, "windows");
  campaigns.subscriptions = _campaignsFrom(*object, "subscriptions");
  if (const auto* keys = present(*object, "appKeys")) {
    auto& accepted = campaigns.appKeys.emplace();
    for (const auto& key : keys->get_array()) accepted.emplace(key.get_string());
  }
  if (const auto* testers = present(*object, "testers")) {
    for (const auto& userId : testers->get_array()) campaigns.testers.emplace(userId.get_string());
  }
  return campaigns;
}

void CampaignChecker::_checkList(const json::object& root, std::string_view key, Kind kind) {
  const auto* value = root.if_contains(key);
  const auto* list = value ? value->if_array() : nullptr;
  if (!list) return;
  _checkDuplicates(key, *list);
  for (std::size_t i = 0; i < list->size(); ++i) {
    const auto* campaign = (*list)[i].if_object();
    if (!campaign) continue;
    const auto path = elementOf(std::string(key), i);
    _checkRange(path, *campaign);
    _warnOfNoEffect(path, *campaign, kind);
  }
}

// Both times have the same fixed form, so comparing the strings compares the times.
void CampaignChecker::_checkRange(const std::string& path, const json::object& campaign) {
  const auto from = textOf(campaign, "startTime"), to = textOf(campaign, "endTime");
  if (!from || !to || !isCalendarTime(*from) || !isCalendarTime(*to) || *from <= *to) return;
  _error(memberOf(path, "endTime"), "must not be before startTime (\"" + std::string(*from) + "\")");
}

void CampaignChecker::_checkDuplicates(std::string_view list, const json::array& campaigns) {
  std::map<std::string, std::size_t> firstWith;
  for (std::size_t i = 0; i < campaigns.size(); ++i) {
    const auto* campaign = campaigns[i].if_object();
    const auto* id = campaign ? present(*campaign, "id") : nullptr;
    if (!id || (!id->is_string() && !id->is_int64())) continue;
    const auto [first, isNew] = firstWith.emplace(canonicalId(*id), i);
    const auto idOf = [&](std::size_t index) { return memberOf(elementOf(std::string(list), index), "id"); };
    if (!isNew) _error(idOf(i), "is the same as " + idOf(first->second));
  }
}

void CampaignChecker::_warnOfNoEffect(const std::string& path, const json::object& campaign, Kind kind) {
  if (!present(campaign, "event")) {
    _warn(memberOf(path, "event"), "is missing: nothing triggers this campaign");
  }
  if (kind == Kind::window && !present(campaign, "count")) {
    _warn(memberOf(path, "count"), "is missing: the window is never shown");
  }
  const auto picture = textOf(campaign, "picture").value_or("");
  if (!picture.empty() && !picture.starts_with("https://")) {
    _warn(memberOf(path, "picture"), "clients load https:// pictures only");
  }
  _warnOfUnknownExtensions(path, campaign);
}

void CampaignChecker::_warnOfUnknownExtensions(const std::string& path, const json::object& campaign) {
  const auto* required = present(campaign, "requires");
  const auto* names = required ? required->if_array() : nullptr;
  for (std::size_t i = 0; names && i < names->size(); ++i) {
    const auto* name = (*names)[i].if_string();
    const bool isKnown = !name || std::find(std::begin(extensionNames), std::end(extensionNames),
                                            std::string_view(*name)) != std::end(extensionNames);
    if (!isKnown) _warn(elementOf(memberOf(path, "requires"), i), "this server offers no such extension to clients");
  }
}

std::vector<Campaign> CampaignChecker::_campaignsFrom(const json::object& root, std::string_view key) {
  std::vector<Campaign> campaigns;
  if (const auto* list = present(root, key)) {
    for (const auto& source : list->get_array()) campaigns.push_back(_campaignFrom(source.get_object()));
  }
  return campaigns;
}

Campaign CampaignChecker::_campaignFrom(const json::object& source) {
  Campaign campaign;
  if (const auto* environments = present(source, "environments")) {
    campaign.environments.reset();
    for (const auto& name : environments->get_array()) {
      campaign.environments.set(environmentNamed(name.get_string()));
    }
  }
  if (const auto* newUser = present(source, "newUser")) {
    campaign.newUser = static_cast<int>(newUser->get_int64());
  }
  if (const auto* userIds = present(source, "userIds")) {
    for (const auto& userId : userIds->get_array()) campaign.userIds.emplace(userId.get_string());
  }
  if (const auto* required = present(source, "requires")) {
    for (const auto& name : required->get_array()) campaign.requiredExtensions.emplace(name.get_string());
  }
  json::object sent;
  for (const auto& [key, value] : source) {
    if (std::find(serverKeys.begin(), serverKeys.end(), key) == serverKeys.end()) sent.emplace(key, value);
  }
  campaign.json = json::serialize(sent);
  return campaign;
}

void CampaignChecker::_error(const std::string& path, std::string_view text) {
  _report.errors.push_back(path + ": " + std::string(text));
}

void CampaignChecker::_warn(const std::string& path, std::string_view text) {
  _report.warnings.push_back(path + ": " + std::string(text));
}

}  // namespace oq::server
