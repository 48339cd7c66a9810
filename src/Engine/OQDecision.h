// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace oq {

/// The result of matching an event, for one window or, if no window takes part, for the event. recentDecisions() in
/// OQObserverListener.h describes the values.
enum class OQDecision : std::uint8_t {
  NoMatch,
  AnotherWindowFirst,
  PreConditionNotMet,
  NoRecord,
  CountUsedUp,
  BeforeStart,
  AfterEnd,
  AlreadyShown,
  ClosedByUser,
  RecordsBusy,
  Shown,
  Waiting,
  Dropped,
  CannotBeShownHere,
  Held,
  RefusedByHost,
  AnotherIsShown,
  UserChanged,
};

}  // namespace oq
