#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <vector>

#include "Matching/OQBitmapIndex.h"
#include "Matching/OQConditionIndex.h"

namespace oq {

class OQRecordTreeNode;
class OQWindowData;

/// What an event came to in a campaign list, as positions in it.
struct OQCampaignMatch {
  static constexpr std::size_t nowhere = static_cast<std::size_t>(-1);
  /// A window whose condition the event satisfied, but that was not chosen.
  struct PassedOver {
    std::size_t position;
    bool isWaiting;  ///< for its pre-condition; else a window before it was chosen
  };

  /// The chosen window, or nowhere.
  std::size_t position = nowhere;
  /// The first that were found, not all.
  std::array<PassedOver, 4> passedOver;
  std::size_t passedOverCount = 0;
};

/// One campaign list, as it arrived: its windows and their order never change, so any thread may walk it
/// without a lock. Finds the window that an event is for, however long the list is.
///
/// The windows' conditions must not change while they are in a list, except that matching takes away
/// pre-conditions; each window belongs to one list at a time.
class OQCampaignList {
 public:
  using Windows = std::vector<std::shared_ptr<OQWindowData>>;
  /// Subscriptions have pre-conditions that nobody asks about.
  enum class PreConditions { Heeded, Ignored };

  OQCampaignList() = default;
  /// nullptr windows are left out.
  explicit OQCampaignList(Windows windows, PreConditions preConditions = PreConditions::Heeded);

  /// A window as the server describes it, and the first record of it.
  static std::shared_ptr<OQWindowData> windowFrom(const JSONValue& record);
  static std::shared_ptr<OQRecordTreeNode> recordFor(const OQWindowData& window);

  const Windows& windows() const { return _windows; }
  bool empty() const { return _windows.empty(); }
  /// Whether some window is a web page or has a link to one. Takes time in proportion to the list.
  bool leadsToPages() const;

  /// The first window in list order whose condition the event satisfies; one that waits for its pre-condition
  /// has that satisfied first, by this event too. As in a walk that ends at the chosen window, the
  /// pre-conditions that the event satisfies up to there are taken away. Allocates nothing, unless the event
  /// has dozens of properties.
  OQCampaignMatch match(const OQWindowEvent& event) const;

 private:
  static constexpr std::size_t nowhere = OQCampaignMatch::nowhere;
  using Range = OQConditionIndex::Range;
  using Ranges = OQConditionIndex::Ranges;

  // A window's condition and pre-condition are numbered together, so that conditions stand in list order.
  static std::size_t conditionOf(std::size_t position) { return position * 2; }
  static std::size_t preConditionOf(std::size_t position) { return position * 2 + 1; }

  struct First {
    std::size_t position;
    bool satisfiesPreConditions;  ///< of some window up to there that waits
  };
  struct Search {
    const OQBitmapIndex& set;
    std::size_t begin, end;  ///< positions
    bool isWaiting;
  };

  template <class Visit>
  void walk(const Range& range, const OQBitmapIndex& set, Visit visit) const;
  First firstPosition(const OQWindowEvent& event, const Ranges& ranges) const;
  /// Takes away what the event satisfies up to and with the last position.
  void consumePreConditions(const OQWindowEvent& event, const Ranges& ranges, std::size_t last) const;
  void consumePreCondition(std::size_t position) const;
  void notePassedOver(const OQWindowEvent& event, const Ranges& ranges, const Search& search,
                      OQCampaignMatch& match) const;

  Windows _windows;
  /// Keeps the conditions too, since a pre-condition may be taken away while another thread looks at it.
  OQConditionIndex _index;
  bool _hasPreConditions = false;
  /// Places in the index of conditions that count at present; of conditions whose windows wait; and of the
  /// pre-conditions that those wait for. The first one grows, the others shrink.
  mutable OQBitmapIndex _inForce;
  mutable OQBitmapIndex _waiting;
  mutable OQBitmapIndex _awaited;
};

}  // namespace oq
