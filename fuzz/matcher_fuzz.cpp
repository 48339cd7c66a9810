// SPDX-License-Identifier: Apache-2.0
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "../tests/support/LinearMatch.h"
#include "Matching/OQCampaignList.h"
#include "Model/OQWindowData.h"

/// Uses the bytes to choose campaigns and events from a few names, keys and values. The index must find the same window
/// as a walk over all windows, and clear the same pre-conditions.
namespace {

using namespace oq;

void require(bool holds) {
  if (!holds) std::abort();
}

class Choices {
 public:
  Choices(const std::uint8_t* bytes, std::size_t size) : _bytes(bytes), _end(bytes + size) {}

  bool empty() const { return _bytes == _end; }
  unsigned below(unsigned most) { return empty() ? 0 : *_bytes++ % most; }

  JSONValue text(const char* letters) {
    const unsigned choice = below(8);
    if (choice == 7) return below(2) == 0 ? JSONValue(1) : JSONValue();
    return JSONValue(std::string(1, letters[choice % 3]));
  }

  /// A condition or an event: the bits of one byte select its properties, further bytes their values. nullptr for byte
  /// 255.
  std::shared_ptr<OQWindowEvent> condition() {
    const unsigned keys = below(256);
    if (keys == 255) return nullptr;
    auto event = std::make_shared<OQWindowEvent>();
    JSONDictionary context;
    for (unsigned i = 0; i < 6; ++i) {
      if (keys >> i & 1) context[std::string(1, static_cast<char>('k' + i))] = text("xyz");
    }
    event->setModelWithDic({{"xwhat", text("abc")}, {"xcontext", keys & 128 ? JSONValue() : JSONValue(context)}});
    return event;
  }

 private:
  const std::uint8_t* _bytes;
  const std::uint8_t* _end;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  Choices choices(bytes, size);
  OQCampaignList::Windows windows, walked;
  for (unsigned count = choices.below(80); count > 0; --count) {
    const auto event = choices.condition();
    const auto preEvent = choices.below(3) == 0 ? choices.condition() : nullptr;
    for (auto* list : {&windows, &walked}) {
      list->push_back(std::make_shared<OQWindowData>());
      list->back()->setEvent(event);
      list->back()->setPreEvent(preEvent);
    }
  }
  const OQCampaignList list(windows);
  while (!choices.empty()) {
    const auto event = choices.condition();
    if (!event) continue;
    const auto match = list.match(*event);
    const std::size_t expected = test::linearMatch(walked, *event);
    require(match.position == (expected == walked.size() ? OQCampaignMatch::nowhere : expected));
    for (std::size_t i = 0; i < match.passedOverCount; ++i) {
      require(event->matches(walked[match.passedOver[i].position]->event().get()));
    }
  }
  for (std::size_t i = 0; i < windows.size(); ++i) require(windows[i]->preEvent() == walked[i]->preEvent());
  return 0;
}
