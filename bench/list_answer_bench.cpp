// SPDX-License-Identifier: Apache-2.0

/// A list response with ten thousand windows: from bytes to windows, index and merged records, compared with Boost.JSON
/// parsing the same bytes.
#include <boost/json.hpp>

#include "Foundation/Values/JSONSerialization.h"
#include "Matching/OQCampaignList.h"
#include "Measure.h"
#include "Model/OQRecordTree.h"
#include "Model/OQWindowData.h"

namespace {

using namespace oq;
using namespace oq::bench;

JSONValue record(int number) {
  const std::string id = std::to_string(number);
  const JSONValue text = {{"text", "A title for the window number " + id}, {"color", "#222222"}, {"size", "32pd"}};
  const JSONValue button = {{"text", "Open"},
                            {"color", "#ffffff"},
                            {"background", "#3366cc"},
                            {"size", 28},
                            {"clickEvent", "https://shop.example/offers/" + id}};
  return {{"id", id},
          {"count", 3},
          {"style", 2},
          {"type", 1},
          {"createTime", "2026-02-20 10:00:00"},
          {"changeTime", "2026-02-21 10:00:00"},
          {"startTime", "2026-03-01 00:00:00"},
          {"endTime", "2026-03-31 23:59:59"},
          {"clickEvent", "https://shop.example/offers/" + id},
          {"event",
           {{"xwhat", "event_" + std::to_string(number % 500)},
            {"xcontext", {{"category", "c" + std::to_string(number % 40)}, {"sku", id}}}}},
          {"picture", "https://pictures.shop.example/" + id + ".png"},
          {"title", text},
          {"content", text},
          {"buttonLeft", button},
          {"buttonRight", button}};
}

Data answerOf(int windows) {
  JSONArray records;
  for (int i = 0; i < windows; ++i) records.push_back(record(i));
  return dataFromString(boost::json::serialize(JSONValue{{"code", 0}, {"data", std::move(records)}}));
}

double parse(const Data& answer) {
  return ownSecondsOf([&] {
    const std::string_view text(reinterpret_cast<const char*>(answer.data()), answer.size());
    keep(boost::json::parse(text).kind());
  });
}

/// The engine's work on a response before it fetches pictures and writes files.
double takeIn(const Data& answer, std::size_t expected) {
  OQRecordTree records;
  return ownSecondsOf([&] {
    const auto parsed = valueWithJSONData(answer);
    require(parsed.has_value(), "the response is not JSON");
    OQRecordTree scratch;
    OQCampaignList::Windows windows;
    for (const JSONValue& each : parsed->at("data").as_array()) {
      windows.push_back(OQWindowData::windowFrom(each));
      scratch.addTreeNode(OQRecordTreeNode::recordFor(*windows.back()));
    }
    const OQCampaignList list(std::move(windows));
    records.updateWithTree(scratch);
    require(list.windows().size() == expected && records.copyOfNodes().size() == expected, "windows are missing");
  });
}

}  // namespace

int main() {
  const Data tenThousand = answerOf(10000), twentyThousand = answerOf(20000);
  const auto [own, peer, twice] = inTurns(
      9, [&] { return takeIn(tenThousand, 10000); }, [&] { return parse(tenThousand); },
      [&] { return takeIn(twentyThousand, 20000); });
  note("list_answer_10000_windows_ms", median(own) * 1e3, "ms");
  atMost("list_answer_to_boost_parse", medianRatio(own, peer), 4);
  atMost("list_answer_20000_to_10000_windows", medianRatio(twice, own), 2.5);
}
