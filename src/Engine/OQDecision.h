// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace oq {

/// The result of an event for one window, or for the event itself.
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
