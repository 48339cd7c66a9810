// SPDX-License-Identifier: Apache-2.0
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "../tests/support/LinearMatch.h"
#include "Foundation/Values/JSONSerialization.h"
#include "Foundation/Values/Number.h"
#include "Matching/OQCampaignList.h"
#include "Model/OQRecordTree.h"
#include "Model/OQWindowData.h"

/// Passes arbitrary bytes through the stages of a list response: JSON, windows, records, index. Each id must have one
/// record, and for the events that the conditions describe, the index must find the same window as a walk over all
/// windows.
namespace {

using namespace oq;

void require(bool holds) {
  if (!holds) std::abort();
}

void checkRecords(const OQCampaignList::Windows& windows) {
  OQRecordTree scratch, records;
  for (const auto& window : windows) scratch.addTreeNode(OQRecordTreeNode::recordFor(*window));
  records.updateWithTree(scratch);
  records.updateWithTree(scratch);
  require(records.copyOfNodes().size() == scratch.copyOfNodes().size());
  for (const auto& window : windows) {
    const auto node = records.findTreeNodeById(integerValue(window->windowId()));
    require(node && node->usedCount() == 0);
  }
}

void checkMatching(const OQCampaignList::Windows& windows, const OQCampaignList::Windows& walked) {
  const OQCampaignList list(windows);
  for (const auto& window : walked) {
    for (const auto& event : {window->event(), window->preEvent()}) {
      if (!event) continue;
      const std::size_t expected = test::linearMatch(walked, *event);
      const std::size_t found = list.match(*event).position;
      require(found == (expected == walked.size() ? OQCampaignMatch::nowhere : expected));
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const auto answer = valueWithJSONData(Data(bytes, bytes + size));
  if (!answer) return 0;
  const JSONValue& data = valueForKey(*answer, "data");
  const JSONArray* records = data.if_array();
  if (!records) return 0;
  OQCampaignList::Windows windows, walked;
  for (const JSONValue& record : *records) {
    windows.push_back(OQWindowData::windowFrom(record));
    walked.push_back(OQWindowData::windowFrom(record));
  }
  checkRecords(windows);
  checkMatching(windows, walked);
  return 0;
}
