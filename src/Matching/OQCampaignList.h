// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <vector>

#include "Matching/OQConditionIndex.h"

namespace oq {

class OQWindowData;

/// The result of matching an event against a campaign list, as positions in the list.
struct OQCampaignMatch {
  static constexpr std::size_t nowhere = static_cast<std::size_t>(-1);
  /// A window whose condition the event satisfied, but that was not chosen.
  struct PassedOver {
    std::size_t position;
    bool isWaiting;  ///< true: it waits for its pre-condition; false: an earlier window was chosen
  };

  /// The chosen window, or `nowhere`.
  std::size_t position = nowhere;
  /// Some of the windows that were not chosen. Only the first `passedOverCount` entries are set.
  std::array<PassedOver, 4> passedOver;
  std::size_t passedOverCount = 0;
};

/// One campaign list. Its windows and their order never change, so any thread may read it without a lock. Finds the
/// window for an event quickly, however long the list is.
///
/// The conditions of windows in a list must not change, except that matching removes pre-conditions. Each window must
/// belong to only one list.
class OQCampaignList {
 public:
  using Windows = std::vector<std::shared_ptr<OQWindowData>>;
  /// Whether pre-conditions are used. Those of subscriptions are ignored.
  enum class PreConditions { Heeded, Ignored };

  OQCampaignList() = default;
  /// nullptr windows are left out.
  explicit OQCampaignList(Windows windows, PreConditions preConditions = PreConditions::Heeded);

  const Windows& windows() const { return _windows; }
  bool empty() const { return _windows.empty(); }
  /// Whether any window of the list is a web page or has a link to one. Takes linear time.
  bool leadsToPages() const;

  /// The first window in list order whose condition the event satisfies. If the window has a pre-condition, that must
  /// be satisfied first; the same event may satisfy both. Removes the pre-conditions that the event satisfies, up to
  /// and including the chosen window. Allocates no memory, unless the event has dozens of properties.
  OQCampaignMatch match(const OQWindowEvent& event) const;

 private:
  static constexpr std::size_t nowhere = OQCampaignMatch::nowhere;
  using Range = OQConditionIndex::Range;
  using Ranges = OQConditionIndex::Ranges;

  // A window's condition and pre-condition get neighbouring numbers, so that conditions are in list order.
  static std::size_t conditionOf(std::size_t position) { return position * 2; }
  static std::size_t preConditionOf(std::size_t position) { return position * 2 + 1; }

  struct First {
    std::size_t position;
    bool satisfiesPreConditions;  ///< a waiting window up to `position` has a pre-condition that the event satisfies
  };
  struct Search {
    const OQBitmapIndex& set;
    std::size_t begin, end;  ///< positions
    bool isWaiting;
  };

  template <class Visit>
  void walk(const Range& range, const OQBitmapIndex& set, Visit visit) const;
  First firstPosition(const OQWindowEvent& event, const Ranges& ranges) const;
  /// Removes the pre-conditions that the event satisfies, up to and including position `last`; all of them if `last` is
  /// `nowhere`.
  void consumePreConditions(const OQWindowEvent& event, const Ranges& ranges, std::size_t last) const;
  void consumePreCondition(std::size_t position) const;
  void notePassedOver(const OQWindowEvent& event, const Ranges& ranges, const Search& search,
                      OQCampaignMatch& match) const;

  Windows _windows;
  /// Also keeps the conditions alive, because another thread may use a pre-condition while it is removed.
  OQConditionIndex _index;
  bool _hasPreConditions = false;
  // Sets of slots in the index. The first set only grows, the other two only shrink.
  mutable OQBitmapIndex _inForce;  ///< conditions of windows without a pending pre-condition
  mutable OQBitmapIndex _waiting;  ///< conditions of windows with a pending pre-condition
  mutable OQBitmapIndex _awaited;  ///< the pending pre-conditions
};

}  // namespace oq
