#pragma once

#include <boost/json.hpp>
#include <set>
#include <span>
#include <string>
#include <string_view>

#include "CampaignParser.h"
#include "Campaigns.h"

namespace oq::server {

// Walks a parsed campaign file, tells every wrong place to a report, and builds the campaigns. The result is
// worth something only when the report has no errors. One object checks one file.
class CampaignChecker {
 public:
  explicit CampaignChecker(CampaignReport& report) : _report(report) {}

  Campaigns check(const boost::json::value& root);

 private:
  using Value = boost::json::value;
  using Check = void (CampaignChecker::*)(const std::string& place, const Value& value);
  struct Field {
    std::string_view key;
    Check check;
  };
  enum class Kind { window, subscription };

  static const Field _rootFields[], _windowFields[], _eventFields[], _textFields[], _buttonFields[];

  bool _checkObject(const std::string& place, const Value& value, std::span<const Field> fields);
  void _checkWindow(const std::string& place, const Value& value);
  void _checkEvent(const std::string& place, const Value& value);
  void _checkContext(const std::string& place, const Value& value);
  void _checkText(const std::string& place, const Value& value);
  void _checkButton(const std::string& place, const Value& value);
  void _checkId(const std::string& place, const Value& value);
  void _checkCount(const std::string& place, const Value& value);
  void _checkInteger(const std::string& place, const Value& value);
  void _checkNumber(const std::string& place, const Value& value);
  void _checkStyle(const std::string& place, const Value& value);
  void _checkTime(const std::string& place, const Value& value);
  void _checkString(const std::string& place, const Value& value);
  void _checkName(const std::string& place, const Value& value);
  void _checkPicture(const std::string& place, const Value& value);
  void _checkColour(const std::string& place, const Value& value);
  void _checkSize(const std::string& place, const Value& value);
  void _checkNewUser(const std::string& place, const Value& value);
  void _checkEnvironments(const std::string& place, const Value& value);
  void _checkNames(const std::string& place, const Value& value);
  void _checkList(const std::string& place, const Value& value);

  void _checkRequired(const std::string& place, const boost::json::object& campaign, Kind kind);
  void _checkRange(const std::string& place, const boost::json::object& campaign);
  void _checkDuplicates(const std::string& place, const boost::json::array& list);
  std::vector<Campaign> _campaignsFrom(const boost::json::object& root, std::string_view key, Kind kind);
  Campaign _campaignFrom(const boost::json::object& source);

  void _mustBe(const std::string& place, std::string_view expected, const Value& found);
  void _error(const std::string& place, std::string_view text);
  void _warn(const std::string& place, std::string_view text);

  CampaignReport& _report;
};

}  // namespace oq::server
