// SPDX-License-Identifier: Apache-2.0
#include "Engine/OQDisplayDecisions.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>
#include <string_view>
#include <utility>

#include "Foundation/Values/Date.h"
#include "Foundation/Values/Text.h"
#include "Utils/OQUtils.h"

namespace oq {

namespace {

bool isUsedUp(const OQRecordTreeNode& record) {
  return record.usedCount() >= record.count();
}

/// Why the record forbids a display; nullopt if it does not.
std::optional<OQDecision> refusalOf(const OQRecordTreeNode& record) {
  if (isUsedUp(record)) return OQDecision::CountUsedUp;
  if (!record.isActivated()) return std::nullopt;
  const bool wasClosedBefore = record.isUserClosed() && !record.wasCountedInThisRun();
  return wasClosedBefore ? OQDecision::ClosedByUser : OQDecision::AlreadyShown;
}

/// Checks the window's time range, to the second; the start and the end belong to the range. Each comparison writes to
/// the platform's log.
std::optional<OQDecision> refusalByTime(const OQWindowData& window) {
  const auto compared = [now = currentDate()](const JSONValue& time) {
    return OQUtils::compareOneDay(now, OQUtils::dateFromString(time));
  };
  if (compared(window.startTime()) < 0) return OQDecision::BeforeStart;
  if (compared(window.endTime()) > 0) return OQDecision::AfterEnd;
  return std::nullopt;
}

const char* textOf(OQDecision decision) {
  switch (decision) {
    case OQDecision::NoMatch:
      return "no match";
    case OQDecision::AnotherWindowFirst:
      return "another window matched first";
    case OQDecision::PreConditionNotMet:
      return "pre-condition not met";
    case OQDecision::NoRecord:
      return "no record";
    case OQDecision::CountUsedUp:
      return "count used up";
    case OQDecision::BeforeStart:
      return "before start";
    case OQDecision::AfterEnd:
      return "after end";
    case OQDecision::AlreadyShown:
      return "already shown in this run";
    case OQDecision::ClosedByUser:
      return "closed by the user in an earlier run";
    case OQDecision::RecordsBusy:
      return "records are busy";
    case OQDecision::Shown:
      return "counted and handed to the screen";
    case OQDecision::Waiting:
      return "waiting";
    case OQDecision::Dropped:
      return "dropped because the waiting array is full";
    case OQDecision::CannotBeShownHere:
      return "cannot be shown by this host";
    case OQDecision::Held:
      return "held by the host";
    case OQDecision::RefusedByHost:
      return "refused by the host";
    case OQDecision::AnotherIsShown:
      return "another message is shown";
    case OQDecision::UserChanged:
      return "the user has changed";
  }
  return "";
}

}  // namespace

std::shared_ptr<OQMessage> OQDisplayDecisions::messageFor(const std::shared_ptr<OQWindowEvent>& event,
                                                          Generation generation) {
  const OQCampaignStore::Turn turn = _store->listOrWait(OQCampaignStore::Kind::InApp, event, generation);
  if (!turn.list) {
    const auto instead = turn.isDropped ? OQDecision::Dropped : OQDecision::Waiting;
    _log.record(turn.isOutdated ? OQDecision::UserChanged : instead, event.get());
    return nullptr;
  }
  const OQCampaignMatch match = turn.list->match(*event);
  notePassedOver(*event, *turn.list, match);
  if (match.position == OQCampaignMatch::nowhere) {
    _log.record(OQDecision::NoMatch, event.get());
    return nullptr;
  }
  // Only the first match counts: if that window may not be shown, no other window is tried.
  return admit(turn.list->windows()[match.position], event.get(), generation);
}

std::shared_ptr<OQMessage> OQDisplayDecisions::messageFor(const std::shared_ptr<OQWindowData>& window) {
  return admit(window, nullptr, _store->generation());
}

void OQDisplayDecisions::notePassedOver(const OQWindowEvent& event, const OQCampaignList& list,
                                        const OQCampaignMatch& match) {
  for (std::size_t i = 0; i < match.passedOverCount; ++i) {
    const auto& [position, isWaiting] = match.passedOver[i];
    const auto reason = isWaiting ? OQDecision::PreConditionNotMet : OQDecision::AnotherWindowFirst;
    _log.record(reason, &event, list.windows()[position]);
  }
}

std::shared_ptr<OQMessage> OQDisplayDecisions::admit(const std::shared_ptr<OQWindowData>& window,
                                                     const OQWindowEvent* event, Generation generation) {
  std::shared_ptr<OQMessage> message;
  _log.record(decide(window, event, generation, message), event, window);
  return message;
}

OQDecision OQDisplayDecisions::decide(const std::shared_ptr<OQWindowData>& window, const OQWindowEvent* event,
                                      Generation generation, std::shared_ptr<OQMessage>& message) {
  const auto record = _store->recordOf(*window);
  if (!record) return OQDecision::NoRecord;
  if (const auto refusal = refusalByRules(*window, *record)) return *refusal;
  auto candidate = OQMessageControl::messageOf(window, event);
  if (const auto refusal = _control->refusalOf(*candidate)) return *refusal;
  if (!_control->begin(candidate)) return OQDecision::AnotherIsShown;
  // The host may have taken long to answer, so all rules are checked again.
  if (_control->asksHost()) {
    if (const auto refusal = refusalByRules(*window, *record)) return *refusal;
  }
  const OQDecision decision = countIfStillAllowed(*record, generation);
  if (decision == OQDecision::Shown) message = std::move(candidate);
  return decision;
}

OQDecision OQDisplayDecisions::decide(const OQWindowData& window) {
  const auto record = _store->recordOf(window);
  if (!record) return OQDecision::NoRecord;
  if (const auto refusal = refusalByRules(window, *record)) return *refusal;
  return countIfStillAllowed(*record, _store->generation());
}

/// Checks the record as this process knows it. A refusal here saves the access to the shared records.
std::optional<OQDecision> OQDisplayDecisions::refusalByRules(const OQWindowData& window,
                                                             OQRecordTreeNode& record) const {
  if (_store->locked([&] { return isUsedUp(record); })) return OQDecision::CountUsedUp;
  if (const auto refusal = refusalByTime(window)) return refusal;
  return _store->locked([&] { return refusalOf(record); });
}

OQDecision OQDisplayDecisions::countIfStillAllowed(OQRecordTreeNode& record, Generation generation) {
  auto access = _store->shareRecords();
  if (!access) return OQDecision::RecordsBusy;
  const auto refusal = _store->locked([&]() -> std::optional<OQDecision> {
    if (_store->generation() != generation) return OQDecision::UserChanged;
    const auto found = refusalOf(record);
    if (!found) OQCampaignStore::count(record);
    return found;
  });
  if (refusal) return *refusal;
  _store->writeRecords(std::move(access));
  return OQDecision::Shown;
}

void OQDecisionLog::record(OQDecision decision, const OQWindowEvent* event,
                           std::shared_ptr<const OQWindowData> window) {
  const auto* text = event ? event->xwhat().if_string() : nullptr;
  const Date now = currentDate();
  // The window of the overwritten entry is swapped into the parameter, which is destroyed after the lock is released.
  std::lock_guard lock(_mutex);
  if (_ring.empty()) return;
  Entry& entry = _ring[_recorded++ % _ring.size()];
  entry.time = now;
  entry.window.swap(window);
  entry.decision = decision;
  entry.hasName = text != nullptr;
  if (!text) return;
  const std::string_view name = beginningOf(*text, entry.name.size());
  entry.nameLength = static_cast<std::uint8_t>(name.size());
  std::memcpy(entry.name.data(), name.data(), name.size());
}

JSONValue OQDecisionLog::valueOf(const Entry& entry) {
  const double milliseconds = std::nearbyint(secondsSince1970(entry.time) * 1000.0);
  return {{"time", milliseconds},
          {"event", entry.hasName ? JSONValue(std::string_view(entry.name.data(), entry.nameLength)) : JSONValue()},
          {"windowId", entry.window ? entry.window->windowId() : JSONValue()},
          {"outcome", textOf(entry.decision)}};
}

JSONValue OQDecisionLog::entries() const {
  std::vector<Entry> ring;
  std::uint64_t recorded = 0;
  {
    std::lock_guard lock(_mutex);
    ring = _ring;
    recorded = _recorded;
  }
  JSONArray entries;
  const std::uint64_t count = std::min<std::uint64_t>(recorded, ring.size());
  for (std::uint64_t i = recorded - count; i < recorded; ++i) entries.push_back(valueOf(ring[i % ring.size()]));
  return entries;
}

void OQDecisionLog::setCapacity(std::size_t capacity) {
  std::vector<Entry> ring(capacity);
  std::lock_guard lock(_mutex);
  _ring.swap(ring);
  _recorded = 0;
}

}  // namespace oq
