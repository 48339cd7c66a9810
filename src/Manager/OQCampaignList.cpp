#include "Manager/OQCampaignList.h"

#include <utility>

#include "Model/OQWindowData.h"
#include "Model/OQWindowEvent.h"

namespace oq {

namespace {

/// The name that an event must bear to satisfy the condition; nullptr for a condition that nothing satisfies.
const boost::json::string* nameOf(const OQWindowEvent* condition) {
  return condition ? condition->xwhat().if_string() : nullptr;
}

}  // namespace

OQCampaignList::OQCampaignList(Windows windows) : _windows(std::move(windows)) {
  std::erase(_windows, nullptr);
  for (std::size_t position = 0; position < _windows.size(); ++position) {
    const OQWindowData& window = *_windows[position];
    const auto preEvent = window.preEvent();
    const auto* preName = nameOf(preEvent.get());
    const auto* name = nameOf(window.event().get());
    if (preName) _byName[std::string(*preName)].push_back(position);
    if (name && (!preName || *name != *preName)) _byName[std::string(*name)].push_back(position);
  }
}

std::span<const std::size_t> OQCampaignList::candidates(std::string_view name) const {
  const auto found = _byName.find(name);
  if (found == _byName.end()) return {};
  return found->second;
}

}  // namespace oq
