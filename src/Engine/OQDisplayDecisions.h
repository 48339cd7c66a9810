// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <utility>

#include "Engine/OQCampaignStore.h"
#include "Engine/OQDecisionLog.h"

namespace oq {

/// Decides which window an event shows, counts the display, and records each decision in its log.
///
/// Thread-safe. Among all processes of the application, the decision and the counting are one step; see the locks of
/// OQCampaignStore. The rule is checked before that step without a lock, and again in it. Failure: while another
/// process keeps the records busy, the window is not shown.
class OQDisplayDecisions {
 public:
  explicit OQDisplayDecisions(std::shared_ptr<OQCampaignStore> store) : _store(std::move(store)) {}

  /// The window to show for the event, with its display already counted and written. nullptr if there is none; the
  /// event may then wait for the list.
  std::shared_ptr<OQWindowData> windowFor(const std::shared_ptr<OQWindowEvent>& event);
  /// Whether the window may be shown now. If so, the display has been counted and written. The event may be nullptr.
  bool mayShow(const std::shared_ptr<OQWindowData>& window, const OQWindowEvent* event);
  /// The same without an entry in the log.
  OQDecision decide(const OQWindowData& window);

  const OQDecisionLog& log() const { return _log; }
  OQDecisionLog& log() { return _log; }

 private:
  OQDecision countIfStillAllowed(OQRecordTreeNode& record);
  void notePassedOver(const OQWindowEvent& event, const OQCampaignList& list, const OQCampaignMatch& match);

  const std::shared_ptr<OQCampaignStore> _store;
  alignas(64) OQDecisionLog _log;  ///< written at every event, while other cores read _store
};

}  // namespace oq
