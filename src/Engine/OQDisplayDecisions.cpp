// SPDX-License-Identifier: Apache-2.0
#include "Engine/OQDisplayDecisions.h"

#include <optional>

#include "Foundation/Values/Date.h"
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

/// To the second, both ends included. Each comparison writes to the platform's log.
std::optional<OQDecision> refusalByTime(const OQWindowData& window) {
  const auto compared = [now = currentDate()](const JSONValue& time) {
    return OQUtils::compareOneDay(now, OQUtils::dateFromString(time));
  };
  if (compared(window.startTime()) < 0) return OQDecision::BeforeStart;
  if (compared(window.endTime()) > 0) return OQDecision::AfterEnd;
  return std::nullopt;
}

}  // namespace

std::shared_ptr<OQWindowData> OQDisplayDecisions::windowFor(const std::shared_ptr<OQWindowEvent>& event) {
  const OQCampaignStore::Turn turn = _store->listOrWait(OQCampaignStore::Kind::InApp, event);
  if (!turn.list) {
    _log.record(turn.isDropped ? OQDecision::Dropped : OQDecision::Waiting, event.get());
    return nullptr;
  }
  const OQCampaignMatch match = turn.list->match(*event);
  notePassedOver(*event, *turn.list, match);
  if (match.position == OQCampaignMatch::nowhere) {
    _log.record(OQDecision::NoMatch, event.get());
    return nullptr;
  }
  // The first match wins, even if that window is then not shown.
  const auto& window = turn.list->windows()[match.position];
  return mayShow(window, event.get()) ? window : nullptr;
}

void OQDisplayDecisions::notePassedOver(const OQWindowEvent& event, const OQCampaignList& list,
                                        const OQCampaignMatch& match) {
  for (std::size_t i = 0; i < match.passedOverCount; ++i) {
    const auto& [position, isWaiting] = match.passedOver[i];
    const auto reason = isWaiting ? OQDecision::PreConditionNotMet : OQDecision::AnotherWindowFirst;
    _log.record(reason, &event, list.windows()[position]);
  }
}

bool OQDisplayDecisions::mayShow(const std::shared_ptr<OQWindowData>& window, const OQWindowEvent* event) {
  const OQDecision decision = decide(*window);
  _log.record(decision, event, window);
  return decision == OQDecision::Shown;
}

OQDecision OQDisplayDecisions::decide(const OQWindowData& window) {
  const auto record = _store->recordOf(window);
  if (!record) return OQDecision::NoRecord;
  if (_store->locked([&] { return isUsedUp(*record); })) return OQDecision::CountUsedUp;
  if (const auto refusal = refusalByTime(window)) return *refusal;
  // A refusal does not depend on other processes.
  if (const auto refusal = _store->locked([&] { return refusalOf(*record); })) return *refusal;
  return countIfStillAllowed(*record);
}

OQDecision OQDisplayDecisions::countIfStillAllowed(OQRecordTreeNode& record) {
  auto access = _store->shareRecords();
  if (!access) return OQDecision::RecordsBusy;
  const auto refusal = _store->locked([&] {
    const auto found = refusalOf(record);
    if (!found) OQCampaignStore::count(record);
    return found;
  });
  if (refusal) return *refusal;
  _store->writeRecords(std::move(access));
  return OQDecision::Shown;
}

}  // namespace oq
