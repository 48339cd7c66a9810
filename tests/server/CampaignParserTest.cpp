#include "CampaignParser.h"

#include <gmock/gmock.h>

#include <boost/json.hpp>
#include <fstream>
#include <iterator>

namespace oq::server {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

// A window that has nothing wrong, with `changes` as further or overriding members.
std::string window(const std::string& changes) {
  return R"({"id":"1","style":3,"count":1,"event":{"xwhat":"buy"})" + (changes.empty() ? "" : "," + changes) +
         "}";
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

TEST(CampaignParser, RefusesWrongValuesAndNamesTheirPlace) {
  const std::pair<const char*, const char*> cases[] = {
      {R"("id":"12a")", "windows[0].id: must be an integer or"},
      {R"("id":1.5)", "windows[0].id: must be an integer or"},
      {R"("id":"")", "windows[0].id: must be an integer or"},
      {R"("id":"9999999999999999999")", "windows[0].id: must be an integer or"},
      {R"("count":-1)", "windows[0].count: must be an integer, 0 or more, not -1"},
      {R"("count":"2")", "windows[0].count: must be an integer, 0 or more"},
      {R"("style":0)", "windows[0].style: must be 1, 2, 3 or 4, not 0"},
      {R"("style":5)", "windows[0].style: must be 1, 2, 3 or 4, not 5"},
      {R"("startTime":"2026-02-29 00:00:00")", "windows[0].startTime: must be a time"},
      {R"("endTime":"2026-1-01 00:00:00")", "windows[0].endTime: must be a time"},
      {R"("endTime":"2026-01-01T00:00:00")", "windows[0].endTime: must be a time"},
      {R"("endTime":"2026-01-01 24:00:00")", "windows[0].endTime: must be a time"},
      {R"("createTime":20260101)", "windows[0].createTime: must be a time"},
      {R"("startTime":"2026-01-02 00:00:00","endTime":"2026-01-01 23:59:59")",
       "windows[0].endTime: must not be before startTime"},
      {R"("title":{"color":"red"})", "windows[0].title.color: must be a colour"},
      {R"("title":{"background":"#12345"})", "windows[0].title.background: must be a colour"},
      {R"("buttonLeft":{"color":"#12345g"})", "windows[0].buttonLeft.color: must be a colour"},
      {R"("buttonRight":{"size":"big"})", "windows[0].buttonRight.size: must be a number"},
      {R"("buttonMiddle":{"size":"28px"})", "windows[0].buttonMiddle.size: must be a number"},
      {R"("content":{"size":"pd"})", "windows[0].content.size: must be a number"},
      {R"("content":"hello")", "windows[0].content: must be an object"},
      {R"("event":{})", "windows[0].event.xwhat: is missing"},
      {R"("event":{"xwhat":7})", "windows[0].event.xwhat: must be a non-empty string"},
      {R"("event":{"xwhat":"a","xcontext":{"n":1}})", "windows[0].event.xcontext.n: must be a string, not 1"},
      {R"("preEvent":{"xwhat":"a","xcontext":[]})",
       "windows[0].preEvent.xcontext: must be an object of strings"},
      {R"("newUser":2)", "windows[0].newUser: must be 0 or 1"},
      {R"("environments":[])", "windows[0].environments: must be an array of at least one"},
      {R"("environments":["test","staging"])", "windows[0].environments[1]: must be \"production\""},
      {R"("userIds":[1])", "windows[0].userIds[0]: must be a non-empty string"},
  };
  for (const auto& [changes, expected] : cases) {
    EXPECT_THAT(reportOf(fileWith(changes)).errors, ElementsAre(StartsWith(expected))) << changes;
  }
}

TEST(CampaignParser, AcceptsTheEdgesOfWhatIsAllowed) {
  const char* cases[] = {
      R"("id":7)",
      R"("id":"0")",
      R"("count":0)",
      R"("style":1)",
      R"("style":4)",
      R"("startTime":"2024-02-29 23:59:59","endTime":"2024-02-29 23:59:59")",
      R"("startTime":null,"title":null)",
      R"("title":{"size":28,"color":"#aBcDeF"})",
      R"("title":{"size":"28pd"})",
      R"("title":{"size":"28.5"})",
      R"("event":{"xwhat":"a","xcontext":{}},"preEvent":{"xwhat":"b","appid":"x","xwhen":1.5})",
      R"("picture":"https://localhost/p.png","clickEvent":"")",
  };
  for (const auto* changes : cases) {
    const auto report = reportOf(fileWith(changes));
    EXPECT_THAT(report.errors, IsEmpty()) << changes;
    EXPECT_THAT(report.warnings, IsEmpty()) << changes;
  }
}

TEST(CampaignParser, RefusesFilesOfAnotherShape) {
  const std::pair<const char*, const char*> cases[] = {
      {"[]", "the file: must be an object, not an array"},
      {R"({"windows":{}})", "windows: must be an array"},
      {R"({"windows":[3]})", "windows[0]: must be an object, not 3"},
      {R"({"windows":[{"style":1,"count":1,"event":{"xwhat":"a"}}]})", "windows[0].id: is missing"},
      {R"({"windows":[{"id":1,"count":1,"event":{"xwhat":"a"}}]})", "windows[0].style: is missing"},
      {R"({"subscriptions":[{"event":3}]})", "subscriptions[0].event: must be an object"},
      {R"({"appKeys":"k"})", "appKeys: must be an array of at least one string"},
      {R"({"appKeys":["k",""]})", "appKeys[1]: must be a non-empty string"},
  };
  for (const auto& [text, expected] : cases) {
    EXPECT_THAT(reportOf(text).errors, ElementsAre(StartsWith(expected))) << text;
  }
}

TEST(CampaignParser, TellsLineAndColumnOfWhatIsNotJson) {
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

TEST(CampaignParser, ReportsEveryErrorAndDuplicateIdsByNumber) {
  const auto text = R"({"windows":[)" + window("") + "," + window(R"("id":1)") + "," +
                    window(R"("id":"001")") + "," + window(R"("id":2,"style":9)") +
                    R"(],"subscriptions":[{"id":1,"event":{"xwhat":"a"}}]})";
  EXPECT_THAT(reportOf(text).errors,
              testing::UnorderedElementsAre("windows[1].id: is the same as windows[0].id",
                                            "windows[2].id: is the same as windows[0].id",
                                            StartsWith("windows[3].style: must be")));
}

TEST(CampaignParser, WarnsOfWhatHasNoEffectButTakesTheFile) {
  CampaignReport report;
  const auto campaigns = parseCampaigns(
      R"({"window":[],"windows":[{"id":1,"style":1,"colour":"x","picture":"http://a/b.png","title":{"txt":"a"}}]})",
      report);
  ASSERT_TRUE(campaigns);
  EXPECT_THAT(campaigns->windows, SizeIs(1));
  EXPECT_THAT(report.warnings,
              testing::UnorderedElementsAre(
                  "window: unknown key", "windows[0].colour: unknown key",
                  "windows[0].title.txt: unknown key", StartsWith("windows[0].picture: "),
                  StartsWith("windows[0].event: is missing"), StartsWith("windows[0].count: is missing")));
}

TEST(CampaignParser, KeepsServerRulesFromClientsAndOrderAsWritten) {
  CampaignReport report;
  const auto campaigns = parseCampaigns(
      fileWith(R"("zeta":1,"newUser":1,"environments":["test"],"userIds":["u"],"alpha":2)"), report);
  ASSERT_TRUE(campaigns);
  EXPECT_EQ(campaigns->windows.at(0).json,
            R"({"id":"1","style":3,"count":1,"event":{"xwhat":"buy"},"zeta":1,"alpha":2})");
  EXPECT_FALSE(campaigns->appKeys);
}

TEST(Campaign, GoesOnlyToThoseItIsFor) {
  CampaignReport report;
  const auto campaigns =
      parseCampaigns(fileWith(R"("newUser":1,"environments":["test"],"userIds":["u","v"])"), report);
  ASSERT_TRUE(campaigns);
  const auto& campaign = campaigns->windows.at(0);
  EXPECT_TRUE(campaign.isFor({Environment::test, 1, "v"}));
  EXPECT_FALSE(campaign.isFor({Environment::production, 1, "v"}));
  EXPECT_FALSE(campaign.isFor({Environment::test, 0, "v"}));
  EXPECT_FALSE(campaign.isFor({Environment::test, std::nullopt, "v"}));
  EXPECT_FALSE(campaign.isFor({Environment::test, 1, "w"}));
}

TEST(CampaignParser, TakesTheSampleFileWithoutAWord) {
  std::ifstream in(OQSDK_SAMPLE_CAMPAIGNS);
  const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  const auto report = reportOf(text);
  EXPECT_THAT(report.errors, IsEmpty());
  EXPECT_THAT(report.warnings, IsEmpty());
}

}  // namespace
}  // namespace oq::server
