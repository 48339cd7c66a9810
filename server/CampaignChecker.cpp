#include "CampaignChecker.h"

#include <algorithm>
#include <array>
#include <map>

#include "CalendarTime.h"

namespace oq::server {

namespace json = boost::json;

namespace {

// What only the server reads; clients never see these.
constexpr std::array<std::string_view, 3> serverKeys = {"environments", "newUser", "userIds"};

bool isDigits(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool isColour(std::string_view text) {
  constexpr std::string_view hexadecimal = "0123456789abcdefABCDEF";
  return text.size() == 7 && text[0] == '#' && text.find_first_not_of(hexadecimal, 1) == text.npos;
}

// "28", "28.5" or "28pd".
bool isSizeText(std::string_view text) {
  if (text.ends_with("pd")) text.remove_suffix(2);
  const auto dot = text.find('.');
  if (dot == text.npos) return isDigits(text);
  return isDigits(text.substr(0, dot)) && isDigits(text.substr(dot + 1));
}

std::string join(const std::string& place, std::string_view key) {
  return place.empty() ? std::string(key) : place + "." + std::string(key);
}

std::string join(const std::string& place, std::size_t index) {
  return place + "[" + std::to_string(index) + "]";
}

std::optional<std::size_t> environmentNamed(const json::value& value) {
  const auto* name = value.if_string();
  const auto found = name ? std::find(std::begin(environmentNames), std::end(environmentNames), *name)
                          : std::end(environmentNames);
  if (found == std::end(environmentNames)) return std::nullopt;
  return static_cast<std::size_t>(found - std::begin(environmentNames));
}

// JSON null reads as absent, as it does in the client.
const json::value* present(const json::object& object, std::string_view key) {
  const auto* value = object.if_contains(key);
  return value && !value->is_null() ? value : nullptr;
}

std::string shortForm(const json::value& value) {
  constexpr std::size_t longest = 40;
  if (value.is_object()) return "an object";
  if (value.is_array()) return "an array";
  const auto text = json::serialize(value);
  return text.size() <= longest ? text : "a long text";
}

// Two spellings of one number are one id, since clients count displays by the number.
std::string canonicalId(const json::value& id) {
  if (!id.is_string()) return json::serialize(id);
  const std::string_view digits = id.get_string();
  const auto first = digits.find_first_not_of('0');
  return first == digits.npos ? "0" : std::string(digits.substr(first));
}

}  // namespace

const CampaignChecker::Field CampaignChecker::_rootFields[] = {
    {"appKeys", &CampaignChecker::_checkNames},
    {"windows", &CampaignChecker::_checkList},
    {"subscriptions", &CampaignChecker::_checkList},
};

const CampaignChecker::Field CampaignChecker::_windowFields[] = {
    {"id", &CampaignChecker::_checkId},
    {"count", &CampaignChecker::_checkCount},
    {"style", &CampaignChecker::_checkStyle},
    {"type", &CampaignChecker::_checkInteger},
    {"createTime", &CampaignChecker::_checkTime},
    {"changeTime", &CampaignChecker::_checkTime},
    {"startTime", &CampaignChecker::_checkTime},
    {"endTime", &CampaignChecker::_checkTime},
    {"clickEvent", &CampaignChecker::_checkString},
    {"event", &CampaignChecker::_checkEvent},
    {"preEvent", &CampaignChecker::_checkEvent},
    {"picture", &CampaignChecker::_checkPicture},
    {"title", &CampaignChecker::_checkText},
    {"content", &CampaignChecker::_checkText},
    {"buttonLeft", &CampaignChecker::_checkButton},
    {"buttonMiddle", &CampaignChecker::_checkButton},
    {"buttonRight", &CampaignChecker::_checkButton},
    {"environments", &CampaignChecker::_checkEnvironments},
    {"newUser", &CampaignChecker::_checkNewUser},
    {"userIds", &CampaignChecker::_checkNames},
};

const CampaignChecker::Field CampaignChecker::_eventFields[] = {
    {"xwhat", &CampaignChecker::_checkName},   {"xcontext", &CampaignChecker::_checkContext},
    {"appid", &CampaignChecker::_checkString}, {"xwho", &CampaignChecker::_checkString},
    {"xwhen", &CampaignChecker::_checkNumber},
};

const CampaignChecker::Field CampaignChecker::_textFields[] = {
    {"text", &CampaignChecker::_checkString},
    {"color", &CampaignChecker::_checkColour},
    {"background", &CampaignChecker::_checkColour},
    {"size", &CampaignChecker::_checkSize},
};

const CampaignChecker::Field CampaignChecker::_buttonFields[] = {
    {"text", &CampaignChecker::_checkString},       {"color", &CampaignChecker::_checkColour},
    {"background", &CampaignChecker::_checkColour}, {"size", &CampaignChecker::_checkSize},
    {"clickEvent", &CampaignChecker::_checkString},
};

Campaigns CampaignChecker::check(const json::value& root) {
  Campaigns campaigns;
  if (!_checkObject("", root, _rootFields)) return campaigns;
  const auto& object = root.get_object();
  campaigns.windows = _campaignsFrom(object, "windows", Kind::window);
  campaigns.subscriptions = _campaignsFrom(object, "subscriptions", Kind::subscription);
  // Building is only for a file without errors: past this line every value has the type that was asked for.
  if (!_report.errors.empty()) return {};
  if (const auto* keys = present(object, "appKeys")) {
    auto& accepted = campaigns.appKeys.emplace();
    for (const auto& key : keys->get_array()) accepted.emplace(key.get_string());
  }
  return campaigns;
}

bool CampaignChecker::_checkObject(const std::string& place, const Value& value,
                                   std::span<const Field> fields) {
  const auto* object = value.if_object();
  if (!object) {
    _mustBe(place.empty() ? "the file" : place, "an object", value);
    return false;
  }
  for (const auto& [key, member] : *object) {
    const auto field =
        std::find_if(fields.begin(), fields.end(),
                     [name = std::string_view(key)](const Field& known) { return known.key == name; });
    if (field == fields.end()) {
      _warn(join(place, key), "unknown key");
    } else if (!member.is_null()) {
      (this->*field->check)(join(place, key), member);
    }
  }
  return true;
}

void CampaignChecker::_checkWindow(const std::string& place, const Value& value) {
  _checkObject(place, value, _windowFields);
}

void CampaignChecker::_checkEvent(const std::string& place, const Value& value) {
  if (!_checkObject(place, value, _eventFields)) return;
  if (!present(value.get_object(), "xwhat")) _error(join(place, "xwhat"), "is missing");
}

void CampaignChecker::_checkContext(const std::string& place, const Value& value) {
  const auto* context = value.if_object();
  if (!context) return _mustBe(place, "an object of strings", value);
  for (const auto& [key, member] : *context) {
    // Clients compare context values as strings only, so that a number would never match.
    if (!member.is_string()) _mustBe(join(place, key), "a string", member);
  }
}

void CampaignChecker::_checkText(const std::string& place, const Value& value) {
  _checkObject(place, value, _textFields);
}

void CampaignChecker::_checkButton(const std::string& place, const Value& value) {
  _checkObject(place, value, _buttonFields);
}

void CampaignChecker::_checkId(const std::string& place, const Value& value) {
  constexpr std::size_t longest = 18;  // digits that surely fit a signed 64-bit number
  if (value.is_int64()) return;
  const auto* text = value.if_string();
  if (text && isDigits(*text) && text->size() <= longest) return;
  _mustBe(place, "an integer or a string of at most 18 digits", value);
}

void CampaignChecker::_checkCount(const std::string& place, const Value& value) {
  if (!value.is_int64() || value.get_int64() < 0) _mustBe(place, "an integer, 0 or more", value);
}

void CampaignChecker::_checkInteger(const std::string& place, const Value& value) {
  if (!value.is_int64()) _mustBe(place, "an integer", value);
}

void CampaignChecker::_checkNumber(const std::string& place, const Value& value) {
  if (!value.is_number()) _mustBe(place, "a number", value);
}

void CampaignChecker::_checkStyle(const std::string& place, const Value& value) {
  if (value.is_int64() && value.get_int64() >= 1 && value.get_int64() <= 4) return;
  _mustBe(place, "1, 2, 3 or 4", value);
}

void CampaignChecker::_checkTime(const std::string& place, const Value& value) {
  const auto* text = value.if_string();
  if (!text || !isCalendarTime(*text)) _mustBe(place, "a time \"yyyy-MM-dd HH:mm:ss\"", value);
}

void CampaignChecker::_checkString(const std::string& place, const Value& value) {
  if (!value.is_string()) _mustBe(place, "a string", value);
}

void CampaignChecker::_checkName(const std::string& place, const Value& value) {
  if (!value.is_string() || value.get_string().empty()) _mustBe(place, "a non-empty string", value);
}

void CampaignChecker::_checkPicture(const std::string& place, const Value& value) {
  const auto* text = value.if_string();
  if (!text) return _mustBe(place, "a string", value);
  if (!text->empty() && !text->starts_with("https://")) _warn(place, "clients load https:// pictures only");
}

void CampaignChecker::_checkColour(const std::string& place, const Value& value) {
  if (!value.is_string() || !isColour(value.get_string())) _mustBe(place, "a colour \"#RRGGBB\"", value);
}

void CampaignChecker::_checkSize(const std::string& place, const Value& value) {
  const bool number = value.is_number() && value.to_number<double>() >= 0;
  if (number || (value.is_string() && isSizeText(value.get_string()))) return;
  _mustBe(place, "a number or a string such as \"28pd\"", value);
}

void CampaignChecker::_checkNewUser(const std::string& place, const Value& value) {
  if (!value.is_int64() || value.get_int64() < 0 || value.get_int64() > 1) _mustBe(place, "0 or 1", value);
}

void CampaignChecker::_checkEnvironments(const std::string& place, const Value& value) {
  const auto* names = value.if_array();
  if (!names || names->empty()) return _mustBe(place, "an array of at least one environment", value);
  for (std::size_t i = 0; i < names->size(); ++i) {
    const auto& name = (*names)[i];
    if (!environmentNamed(name)) {
      _mustBe(join(place, i), "\"production\", \"test\" or \"development\"", name);
    }
  }
}

void CampaignChecker::_checkNames(const std::string& place, const Value& value) {
  const auto* names = value.if_array();
  if (!names || names->empty()) return _mustBe(place, "an array of at least one string", value);
  for (std::size_t i = 0; i < names->size(); ++i) _checkName(join(place, i), (*names)[i]);
}

void CampaignChecker::_checkList(const std::string& place, const Value& value) {
  const auto* list = value.if_array();
  if (!list) return _mustBe(place, "an array", value);
  for (std::size_t i = 0; i < list->size(); ++i) _checkWindow(join(place, i), (*list)[i]);
  _checkDuplicates(place, *list);
}

void CampaignChecker::_checkRequired(const std::string& place, const json::object& campaign, Kind kind) {
  if (!present(campaign, "event")) _warn(join(place, "event"), "is missing: nothing triggers this campaign");
  if (kind == Kind::subscription) return;
  if (!present(campaign, "id")) _error(join(place, "id"), "is missing");
  if (!present(campaign, "style")) _error(join(place, "style"), "is missing: must be 1, 2, 3 or 4");
  if (!present(campaign, "count")) _warn(join(place, "count"), "is missing: the window is never shown");
}

void CampaignChecker::_checkRange(const std::string& place, const json::object& campaign) {
  const auto* start = present(campaign, "startTime");
  const auto* end = present(campaign, "endTime");
  if (!start || !end || !start->is_string() || !end->is_string()) return;
  const std::string_view from = start->get_string(), to = end->get_string();
  if (!isCalendarTime(from) || !isCalendarTime(to) || from <= to) return;
  _error(join(place, "endTime"), "must not be before startTime (\"" + std::string(from) + "\")");
}

void CampaignChecker::_checkDuplicates(const std::string& place, const json::array& list) {
  std::map<std::string, std::size_t> firstWith;
  for (std::size_t i = 0; i < list.size(); ++i) {
    const auto* campaign = list[i].if_object();
    const auto* id = campaign ? present(*campaign, "id") : nullptr;
    if (!id || (!id->is_string() && !id->is_int64())) continue;
    const auto [first, isNew] = firstWith.emplace(canonicalId(*id), i);
    if (isNew) continue;
    _error(join(join(place, i), "id"), "is the same as " + join(join(place, first->second), "id"));
  }
}

std::vector<Campaign> CampaignChecker::_campaignsFrom(const json::object& root, std::string_view key,
                                                      Kind kind) {
  std::vector<Campaign> campaigns;
  const auto* list = present(root, key);
  if (!list || !list->is_array()) return campaigns;
  const auto& array = list->get_array();
  for (std::size_t i = 0; i < array.size(); ++i) {
    const auto* source = array[i].if_object();
    if (!source) continue;
    const auto place = join(std::string(key), i);
    _checkRequired(place, *source, kind);
    _checkRange(place, *source);
    if (_report.errors.empty()) campaigns.push_back(_campaignFrom(*source));
  }
  return campaigns;
}

Campaign CampaignChecker::_campaignFrom(const json::object& source) {
  Campaign campaign;
  if (const auto* environments = present(source, "environments")) {
    campaign.environments.reset();
    for (const auto& name : environments->get_array()) campaign.environments.set(*environmentNamed(name));
  }
  if (const auto* newUser = present(source, "newUser")) {
    campaign.newUser = static_cast<int>(newUser->get_int64());
  }
  if (const auto* userIds = present(source, "userIds")) {
    for (const auto& userId : userIds->get_array()) campaign.userIds.emplace(userId.get_string());
  }
  json::object sent;
  for (const auto& [key, value] : source) {
    if (std::find(serverKeys.begin(), serverKeys.end(), key) == serverKeys.end()) sent.emplace(key, value);
  }
  campaign.json = json::serialize(sent);
  return campaign;
}

void CampaignChecker::_mustBe(const std::string& place, std::string_view expected, const Value& found) {
  _error(place, "must be " + std::string(expected) + ", not " + shortForm(found));
}

void CampaignChecker::_error(const std::string& place, std::string_view text) {
  _report.errors.push_back(place + ": " + std::string(text));
}

void CampaignChecker::_warn(const std::string& place, std::string_view text) {
  _report.warnings.push_back(place + ": " + std::string(text));
}

}  // namespace oq::server
