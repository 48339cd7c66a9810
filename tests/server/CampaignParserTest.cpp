// SPDX-License-Identifier: Apache-2.0
#include "CampaignParser.h"

#include <gmock/gmock.h>

#include <boost/json.hpp>

#include "support/ScratchFolder.h"

namespace oq::server {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

// A valid window; `changes` are additional members.
std::string window(const std::string& changes) {
  return R"({"id":"1","style":3,"count":1,"event":{"xwhat":"buy"})" + (changes.empty() ? "" : "," + changes) + "}";
}

std::string fileWith(const std::string& changes) {
  return R"({"windows":[)" + window(changes) + "]}";
}

CampaignReport reportOf(const std::string& text) {
  CampaignReport report;
  const auto campaigns = parseCampaigns(text, report);
  EXPECT_EQ(campaigns.has_value(), report.errors.empty()) << text;
  return report;
}

// The table that schema_test.py also runs through another implementation of JSON Schema.
boost::json::object sharedCases() {
  return boost::json::parse(test::textOfFile(OQSDK_CAMPAIGN_CASES)).as_object();
}

void expectReport(const boost::json::value& file, const boost::json::value& error) {
  const auto text = boost::json::serialize(file);
  const auto report = reportOf(text);
  if (error.is_null()) {
    EXPECT_THAT(report.errors, IsEmpty()) << text;
    EXPECT_THAT(report.warnings, IsEmpty()) << text;
  } else {
    EXPECT_THAT(report.errors, ElementsAre(StartsWith(std::string(error.as_string())))) << text;
  }
}

TEST(CampaignParser, AcceptsValidValuesAndReportsThePathOfAWrongOne) {
  const auto cases = sharedCases();
  for (const auto& entry : cases.at("members").as_array()) {
    auto file = boost::json::parse(fileWith(""));
    for (const auto& [key, value] : entry.at(0).as_object()) {
      file.at("windows").at(0).as_object()[key] = value;
    }
    expectReport(file, entry.at(1));
  }
  for (const auto& entry : cases.at("files").as_array()) expectReport(entry.at(0), entry.at(1));
}

TEST(CampaignParser, ReportsLineAndColumnOfInvalidJson) {
  const std::pair<const char*, const char*> cases[] = {
      {"", "line 1, column 1: the file ends too early"},
      {"{\n  \"windows\": [\n", "line 3, column 1: the file ends too early"},
      {"{\n  \"windows\": [,]\n}", "line 2, column 15: not valid JSON"},
      {"{\"窗口\": x}", "line 1, column 8: not valid JSON"},
      {"{}\n\n  {}", "line 3, column 3: text after the end"},
      {"\xef\xbb\xbf{} x", "line 1, column 4: text after the end"},
  };
  for (const auto& [text, expected] : cases) {
    EXPECT_THAT(reportOf(text).errors, ElementsAre(StartsWith(expected))) << text;
  }
  const std::string deep = std::string(100'000, '[');
  EXPECT_THAT(reportOf(deep).errors, ElementsAre(StartsWith("line 1, column ")));
}

TEST(CampaignParser, ReportsAllErrorsAndDuplicateIdsEvenIfSpelledDifferently) {
  const auto text = R"({"windows":[)" + window("") + "," + window(R"("id":1)") + "," + window(R"("id":"001")") + "," +
                    window(R"("id":2,"style":9)") + R"(],"subscriptions":[{"id":1,"event":{"xwhat":"a"}}]})";
  EXPECT_THAT(reportOf(text).errors, testing::UnorderedElementsAre("windows[1].id: is the same as windows[0].id",
                                                                   "windows[2].id: is the same as windows[0].id",
                                                                   StartsWith("windows[3].style: must be")));
}

TEST(CampaignParser, WarnsAboutValuesWithoutEffectButAcceptsTheFile) {
  CampaignReport report;
  const auto campaigns = parseCampaigns(
      R"({"window":[],"windows":[{"id":1,"style":1,"colour":"x","picture":"http://a/b.png","title":{"txt":"a"}}]})",
      report);
  ASSERT_TRUE(campaigns);
  EXPECT_THAT(campaigns->windows, SizeIs(1));
  EXPECT_THAT(report.warnings,
              testing::UnorderedElementsAre("window: unknown key", "windows[0].colour: unknown key",
                                            "windows[0].title.txt: unknown key", StartsWith("windows[0].picture: "),
                                            StartsWith("windows[0].event: is missing"),
                                            StartsWith("windows[0].count: is missing")));
}

}  // namespace
}  // namespace oq::server
