// SPDX-License-Identifier: Apache-2.0
#include "Matching/OQCampaignList.h"

#include <algorithm>
#include <utility>

#include "Foundation/Values/Number.h"
#include "Model/OQWindowData.h"

namespace oq {

namespace {

/// How many windows one call of notePassedOver() checks at most: noting passed-over windows must not make matching
/// slow.
constexpr int kPassedOverLooks = 4;

bool hasLink(const std::shared_ptr<OQButtonAttribute>& button) {
  return button && isNonEmptyString(button->eventLink());
}

bool leadsToPage(const OQWindowData& window) {
  switch (window.style()) {
    case 1:
      return isNonEmptyString(window.eventLink());
    case 2:
      return hasLink(window.middleBtnAttribute());
    case 3:
      return hasLink(window.leftBtnAttribute()) || hasLink(window.rightBtnAttribute());
    default:
      return window.style() == 4;
  }
}

}  // namespace

OQCampaignList::OQCampaignList(Windows windows, PreConditions preConditions) : _windows(std::move(windows)) {
  std::erase(_windows, nullptr);
  OQConditionIndex::Conditions conditions;
  conditions.reserve(_windows.size() * 2);
  for (const auto& window : _windows) {
    conditions.push_back(window->event());
    conditions.push_back(preConditions == PreConditions::Heeded ? window->preEvent() : nullptr);
    _hasPreConditions |= conditions.back() != nullptr;
  }
  _index = OQConditionIndex(std::move(conditions));
  _inForce = OQBitmapIndex(_index.slotCount());
  _waiting = OQBitmapIndex(_hasPreConditions ? _index.slotCount() : 0);
  _awaited = OQBitmapIndex(_hasPreConditions ? _index.slotCount() : 0);
  for (std::size_t position = 0; position < _windows.size(); ++position) {
    const bool waits = _index.conditions()[preConditionOf(position)] != nullptr;
    for (const auto slot : _index.slotsOf(conditionOf(position))) (waits ? _waiting : _inForce).insert(slot);
    for (const auto slot : _index.slotsOf(preConditionOf(position))) _awaited.insert(slot);
  }
}

bool OQCampaignList::leadsToPages() const {
  return std::any_of(_windows.begin(), _windows.end(), [](const auto& window) { return leadsToPage(*window); });
}

/// Visits the slots of the range that are in the set, in list order, until the visitor returns false. The visitor gets
/// the window's position and the slot.
template <class Visit>
void OQCampaignList::walk(const Range& range, const OQBitmapIndex& set, Visit visit) const {
  for (std::size_t slot = set.next(range.begin, range.end); slot < range.end; slot = set.next(slot + 1, range.end)) {
    if (!visit(_index.conditionAt(slot) / 2, slot)) return;
  }
}

OQCampaignMatch OQCampaignList::match(const OQWindowEvent& event) const {
  OQCampaignMatch match;
  const Ranges ranges = _index.lookUp(event);
  if (ranges.empty()) return match;
  const auto [chosen, satisfiesPreConditions] = firstPosition(event, ranges);
  match.position = chosen;
  if (_hasPreConditions) {
    if (satisfiesPreConditions) consumePreConditions(event, ranges, chosen);
    notePassedOver(event, ranges, {_waiting, 0, chosen, true}, match);
  }
  if (chosen != nowhere) notePassedOver(event, ranges, {_inForce, chosen + 1, nowhere, false}, match);
  return match;
}

OQCampaignList::First OQCampaignList::firstPosition(const OQWindowEvent& event, const Ranges& ranges) const {
  std::size_t first = nowhere;
  bool satisfiesPreConditions = false;
  const auto look = [&](const OQBitmapIndex& set, auto isMatch) {
    for (const Range& range : ranges) {
      walk(range, set, [&](std::size_t position, std::size_t slot) {
        if (position >= first) return false;
        if (!_index.isSatisfied(slot, range, event) || !isMatch(position)) return true;
        first = position;
        return false;
      });
    }
  };
  // Windows with a pending pre-condition are searched first: if another thread removes the pre-condition meanwhile, the
  // second search still finds the window.
  if (_hasPreConditions) {
    look(_awaited, [&](std::size_t position) {
      satisfiesPreConditions = true;
      return event.matches(_windows[position]->event().get());
    });
  }
  look(_inForce, [](std::size_t) { return true; });
  return {first, satisfiesPreConditions};
}

void OQCampaignList::consumePreConditions(const OQWindowEvent& event, const Ranges& ranges, std::size_t last) const {
  for (const Range& range : ranges) {
    walk(range, _awaited, [&](std::size_t position, std::size_t slot) {
      if (last != nowhere && position > last) return false;
      if (_index.isSatisfied(slot, range, event)) consumePreCondition(position);
      return true;
    });
  }
}

void OQCampaignList::consumePreCondition(std::size_t position) const {
  _windows[position]->consumePreEvent(_index.conditions()[preConditionOf(position)]);
  // In this order, so that every reader finds the window in at least one set.
  for (const auto slot : _index.slotsOf(conditionOf(position))) _inForce.insert(slot);
  for (const auto slot : _index.slotsOf(conditionOf(position))) _waiting.erase(slot);
  for (const auto slot : _index.slotsOf(preConditionOf(position))) _awaited.erase(slot);
}

void OQCampaignList::notePassedOver(const OQWindowEvent& event, const Ranges& ranges, const Search& search,
                                    OQCampaignMatch& match) const {
  int looks = kPassedOverLooks;
  for (const Range& range : ranges) {
    if (looks == 0) return;
    walk(search.begin == 0 ? range : _index.from(range, conditionOf(search.begin)), search.set,
         [&](std::size_t position, std::size_t slot) {
           if (position >= search.end || match.passedOverCount == match.passedOver.size()) return false;
           if (_index.isSatisfied(slot, range, event)) {
             match.passedOver[match.passedOverCount++] = {position, search.isWaiting};
           }
           return --looks > 0;
         });
  }
}

}  // namespace oq
