// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "Foundation/Values/Date.h"
#include "Model/OQWindowData.h"
#include "Model/OQWindowEvent.h"

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
};

/// The last decisions, in a ring buffer in memory. Recording does not allocate; strings are built when they are read.
/// Thread-safe.
class OQDecisionLog {
 public:
  static constexpr std::size_t defaultCapacity = 256;

  explicit OQDecisionLog(std::size_t capacity = defaultCapacity) : _ring(capacity) {}

  /// The entry keeps the window alive, and a copy of the event's name.
  void record(OQDecision decision, const OQWindowEvent* event, std::shared_ptr<const OQWindowData> window = nullptr);
  /// Oldest first, as recentDecisions() in OQObserverListener.h describes them.
  JSONValue entries() const;
  /// Removes all entries.
  void setCapacity(std::size_t capacity);

 private:
  struct Entry {
    Date time;
    std::shared_ptr<const OQWindowData> window;
    OQDecision decision = OQDecision::NoMatch;
    std::uint8_t nameLength = 0;
    bool hasName = false;
    std::array<char, 95> name{};
  };

  static JSONValue valueOf(const Entry& entry);

  mutable std::mutex _mutex;
  std::vector<Entry> _ring;
  std::uint64_t _recorded = 0;
};

}  // namespace oq
