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

/// The last decisions, in a ring buffer in memory. record() does not allocate memory; strings are built by entries().
/// Thread-safe.
class OQDecisionLog {
 public:
  static constexpr std::size_t defaultCapacity = 256;

  explicit OQDecisionLog(std::size_t capacity = defaultCapacity) : _ring(capacity) {}

  /// The entry keeps the window alive and contains a copy of the event's name.
  void record(OQDecision decision, const OQWindowEvent* event, std::shared_ptr<const OQWindowData> window = nullptr);
  /// The entries, oldest first, in the form that recentDecisions() in OQObserverListener.h describes.
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
/// Thread-safe. The final check and the counting are one step, in which no other process of the application can count a
/// display; see the locks of OQCampaignStore. All rules are first checked without access to the shared records; those
/// that depend on the record are checked again in that step. Failure: while another process keeps the records busy, the
/// window is not shown.
class OQDisplayDecisions {
 public:
  OQDisplayDecisions(std::shared_ptr<OQCampaignStore> store, std::shared_ptr<OQMessageControl> control)
      : _store(std::move(store)), _control(std::move(control)) {}

  /// The message to show for the event, with its display already counted and written. nullptr if there is none; the
  /// event may then wait for the list. `generation` is the one in which the event was recorded: an event of a former
  /// user shows nothing.
  std::shared_ptr<OQMessage> messageFor(const std::shared_ptr<OQWindowEvent>& event,
                                        OQCampaignStore::Generation generation);
  /// The message to show for the window now, with its display counted and written; nullptr if it may not be shown.
  std::shared_ptr<OQMessage> messageFor(const std::shared_ptr<OQWindowData>& window);
  /// Whether the window's record and time range allow a display now. If so, the display is already counted and written.
  /// Does not ask the host, and adds nothing to log().
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
  alignas(64) OQDecisionLog _log;  ///< in its own cache line: every event writes it while other cores read _store
};

}  // namespace oq
