// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "Engine/OQCampaignStore.h"
#include "Engine/OQDecision.h"
#include "Engine/OQMessageControl.h"
#include "Foundation/Values/Date.h"
#include "Model/OQWindowData.h"
#include "Model/OQWindowEvent.h"

namespace oq {

/// The last decisions, in a ring buffer in memory. Recording does not allocate; strings are built when they are read.
/// Thread-safe.
class OQDecisionLog {
 public:
  static constexpr std::size_t defaultCapacity = 256;

  explicit OQDecisionLog(std::size_t capacity = defaultCapacity) : _ring(capacity) {}

  /// The entry keeps the window alive and contains a copy of the event's name.
  void record(OQDecision decision, const OQWindowEvent* event, std::shared_ptr<const OQWindowData> window = nullptr);
  /// Oldest first, as recentDecisions() in OQObserverListener.h describes them.
  JSONValue entries() const;
  /// Sets how many entries are kept, and removes all entries.
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

/// Decides which window an event shows, counts the display, and records each decision in its log.
///
/// Thread-safe. Among all processes of the application, the decision and the counting are one step; see the locks of
/// OQCampaignStore. The rules are checked twice: first without access to the shared records, then again in that step.
/// Failure: while another process keeps the records busy, the window is not shown.
class OQDisplayDecisions {
 public:
  OQDisplayDecisions(std::shared_ptr<OQCampaignStore> store, std::shared_ptr<OQMessageControl> control)
      : _store(std::move(store)), _control(std::move(control)) {}

  /// The message to show for the event, with its display already counted and written. nullptr if there is none; the
  /// event may then wait for the list.
  std::shared_ptr<OQMessage> messageFor(const std::shared_ptr<OQWindowEvent>& event);
  /// The message to show for the window now, with its display counted and written; nullptr if it may not be shown.
  std::shared_ptr<OQMessage> messageFor(const std::shared_ptr<OQWindowData>& window);
  /// Whether the described rules allow the window now. If so, the display has been counted and written. Neither asks
  /// the host nor writes to the log.
  OQDecision decide(const OQWindowData& window);

  const OQDecisionLog& log() const { return _log; }
  OQDecisionLog& log() { return _log; }

 private:
  using Generation = OQCampaignStore::Generation;

  std::shared_ptr<OQMessage> admit(const std::shared_ptr<OQWindowData>& window, const OQWindowEvent* event,
                                   Generation generation);
  /// Sets `message` if the result is Shown.
  OQDecision decide(const std::shared_ptr<OQWindowData>& window, const OQWindowEvent* event, Generation generation,
                    std::shared_ptr<OQMessage>& message);
  std::optional<OQDecision> refusalByRules(const OQWindowData& window, OQRecordTreeNode& record) const;
  OQDecision countIfStillAllowed(OQRecordTreeNode& record, Generation generation);
  void notePassedOver(const OQWindowEvent& event, const OQCampaignList& list, const OQCampaignMatch& match);

  const std::shared_ptr<OQCampaignStore> _store;
  const std::shared_ptr<OQMessageControl> _control;
  alignas(64) OQDecisionLog _log;  ///< written at every event, while other cores read _store
};

}  // namespace oq
