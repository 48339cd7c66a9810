#pragma once

#include <boost/container/small_vector.hpp>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Model/OQWindowEvent.h"

namespace oq {

/// Finds, among many conditions, the few that an event can satisfy at all: by the event's name and then by
/// the property that fewest of the name's conditions ask for. Never changed after it is made, so any thread
/// may ask. Conditions are known by their number; their names and contexts must not change afterwards.
///
/// The rule that the smaller context decides makes two ways to a condition. One with at most as many
/// properties as the event is found under its rarest property, which the event must have. One with more is
/// found under every property that it has, apart for each number of properties, since the event must have
/// nothing else; the rarest of the event's properties is asked.
class OQConditionIndex {
 public:
  using Conditions = std::vector<std::shared_ptr<const OQWindowEvent>>;
  /// A set of properties, a bit for each, which several may share: one whose bit is clear is surely not in the set.
  using Properties = std::uint64_t;
  /// Places in the index, each of which bears the number of a condition, in ascending order.
  struct Range {
    enum class Rule : std::uint8_t {
      Satisfied,  ///< all of them, by their name alone
      AskLess,    ///< the event must have all that they ask for
      AskMore,    ///< they must ask for all that the event has
    };
    std::uint32_t begin = 0;
    std::uint32_t end = 0;
    Rule rule = Rule::Satisfied;
    Properties properties = 0;  ///< of the event
    std::size_t size() const { return end - begin; }
  };
  /// On the stack unless an event has very many properties that conditions ask for.
  using Ranges = boost::container::small_vector<Range, 24>;

  OQConditionIndex() = default;
  /// nullptr, and what nothing can satisfy, is never found.
  explicit OQConditionIndex(Conditions conditions);

  const Conditions& conditions() const { return _all; }

  /// Every condition that the event satisfies is in one of the ranges, where isSatisfied() tells it from others.
  Ranges lookUp(const OQWindowEvent& event) const;
  std::uint32_t conditionAt(std::size_t slot) const { return _places[slot].condition; }
  /// Whether the event satisfies the condition at a place in one of its ranges. A condition that stands in several is
  /// only sure to be told in one: one with more properties than the event in those that AskMore.
  bool isSatisfied(std::size_t slot, const Range& range, const OQWindowEvent& event) const {
    if (range.rule == Range::Rule::Satisfied) return true;
    const Place& place = _places[slot];
    const bool asksLess = range.rule == Range::Rule::AskLess;
    if (asksLess ? place.properties & ~range.properties : range.properties & ~place.properties) return false;
    return event.matches(*_all[place.condition]);
  }
  /// The part of the range that begins with the condition or the next one after it.
  Range from(const Range& range, std::size_t condition) const;
  std::size_t slotCount() const { return _places.size(); }
  /// All places of one condition.
  std::span<const std::uint32_t> slotsOf(std::size_t condition) const;

 private:
  class Builder;
  struct Place {
    Properties properties;  ///< that the condition asks for
    std::uint32_t condition;
  };
  /// The conditions of one name.
  struct Name {
    std::string text;
    Range all;
    Range withoutProperties;
    std::uint64_t sizes = 0;    ///< a bit for each number of properties that they have
    Properties properties = 0;  ///< under which any of them is found
  };
  struct NameCell {
    std::uint64_t hash = 0;  ///< 0: free
    std::uint32_t name = 0;
  };
  /// What stands under one hash. That two things share one costs time, but is harmless: whatever is found
  /// here is held against the event.
  struct Bucket {
    std::uint64_t hash = 0;  ///< 0: free
    std::uint32_t begin = 0;
    std::uint32_t end = 0;
  };

  using Buckets = std::vector<Bucket>;

  const Name* find(std::uint64_t hash, std::string_view text) const;
  void lookUpLarger(std::span<const std::uint64_t> hashes, Properties properties, std::uint64_t sizes,
                    Ranges& ranges) const;

  Conditions _all;
  std::vector<Name> _names;
  std::vector<NameCell> _nameCells;
  /// Under a property, and under a property beside a number of others. Apart, since the first are asked far more
  /// often and then stay near the processor.
  Buckets _buckets;
  Buckets _bucketsOfLarger;
  std::vector<Place> _places;
  /// The places of each condition, one condition after the other.
  std::vector<std::uint32_t> _slots;
  std::vector<std::uint32_t> _firstSlot;
};

}  // namespace oq
