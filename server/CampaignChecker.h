// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "CampaignParser.h"
#include "Campaigns.h"

namespace oq::server {

// Checks a parsed campaign file against its schema and against the rules that a schema cannot express, adds every
// problem to a report, and builds the campaigns. Use the result only if the report has no errors. One object checks one
// file.
class CampaignChecker {
 public:
  explicit CampaignChecker(CampaignReport& report) : _report(report) {}

  Campaigns check(const boost::json::value& root);

 private:
  enum class Kind { window, subscription };

  void _checkList(const boost::json::object& root, std::string_view key, Kind kind);
  void _checkRange(const std::string& path, const boost::json::object& campaign);
  void _checkDuplicates(std::string_view list, const boost::json::array& campaigns);
  void _warnOfNoEffect(const std::string& path, const boost::json::object& campaign, Kind kind);
  void _warnOfUnknownExtensions(const std::string& path, const boost::json::object& campaign);
  std::vector<Campaign> _campaignsFrom(const boost::json::object& root, std::string_view key);
  Campaign _campaignFrom(const boost::json::object& source);

  void _error(const std::string& path, std::string_view text);
  void _warn(const std::string& path, std::string_view text);

  CampaignReport& _report;
};

}  // namespace oq::server
