// SPDX-License-Identifier: Apache-2.0
#include "CampaignParser.h"

#include <algorithm>
#include <boost/json.hpp>

#include "CampaignChecker.h"

namespace oq::server {

namespace json = boost::json;

namespace {

constexpr std::size_t maximumDepth = 64;
constexpr std::string_view byteOrderMark = "\xef\xbb\xbf";

bool isBlank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

// Columns count characters, as editors do, not bytes.
std::string placeOf(std::string_view text, std::size_t offset) {
  const auto before = text.substr(0, std::min(offset, text.size()));
  const auto line = 1 + std::count(before.begin(), before.end(), '\n');
  const auto lineStart = before.rfind('\n') == before.npos ? 0 : before.rfind('\n') + 1;
  const auto lineText = before.substr(lineStart);
  const auto column =
      1 + std::count_if(lineText.begin(), lineText.end(), [](unsigned char byte) { return (byte & 0xC0) != 0x80; });
  return "line " + std::to_string(line) + ", column " + std::to_string(column);
}

std::string describe(const json::error_code& error) {
  if (error == json::error::incomplete) return "the file ends too early";
  return "not valid JSON (" + error.message() + ")";
}

std::optional<json::value> parseJson(std::string_view text, CampaignReport& report) {
  json::parse_options options;
  options.max_depth = maximumDepth;
  json::parser parser(json::storage_ptr(), options);
  json::error_code error;
  const auto used = parser.write_some(text.data(), text.size(), error);
  if (error) {
    report.errors.push_back(placeOf(text, used) + ": " + describe(error));
    return std::nullopt;
  }
  const auto rest = std::find_if_not(text.begin() + static_cast<std::ptrdiff_t>(used), text.end(), isBlank);
  if (rest != text.end()) {
    const auto offset = static_cast<std::size_t>(rest - text.begin());
    report.errors.push_back(placeOf(text, offset) + ": text after the end of the JSON object");
    return std::nullopt;
  }
  return parser.release();
}

}  // namespace

std::optional<Campaigns> parseCampaigns(std::string_view text, CampaignReport& report) {
  if (text.starts_with(byteOrderMark)) text.remove_prefix(byteOrderMark.size());
  const auto root = parseJson(text, report);
  if (!root) return std::nullopt;
  auto campaigns = CampaignChecker(report).check(*root);
  if (!report.errors.empty()) return std::nullopt;
  return campaigns;
}

}  // namespace oq::server
