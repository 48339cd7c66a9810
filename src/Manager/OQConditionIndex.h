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
  /// Places in the index, each of which bears the number of a condition, in ascending order.
  struct Range {
    std::uint32_t begin = 0;
    std::uint32_t end = 0;
    bool isCertain = false;  ///< the event satisfies all of them
    std::size_t size() const { return end - begin; }
  };
  /// On the stack unless an event has very many properties that conditions ask for.
  using Ranges = boost::container::small_vector<Range, 24>;

  OQConditionIndex() = default;
  /// nullptr, and what nothing can satisfy, is never found.
  explicit OQConditionIndex(Conditions conditions);

  const Conditions& conditions() const { return _all; }

  /// Every condition that the event satisfies is in one of the ranges; most of those in them are satisfied.
  Ranges lookUp(const OQWindowEvent& event) const;
  std::uint32_t conditionAt(std::size_t slot) const { return _conditions[slot]; }
  /// The part of the range that begins with the condition or the next one after it.
  Range from(const Range& range, std::size_t condition) const;
  std::size_t slotCount() const { return _conditions.size(); }
  /// All places of one condition.
  std::span<const std::uint32_t> slotsOf(std::size_t condition) const;

 private:
  class Builder;
  /// The conditions of one name.
  struct Name {
    std::string text;
    Range all;
    Range withoutProperties;
    std::uint64_t sizes = 0;  ///< a bit for each number of properties that they have
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

  const Name* find(std::uint64_t hash, std::string_view text) const;
  const Bucket* find(std::uint64_t hash) const;
  void lookUpLarger(std::span<const std::uint64_t> properties, std::uint64_t sizes, Ranges& ranges) const;

  Conditions _all;
  std::vector<Name> _names;
  std::vector<NameCell> _nameCells;
  /// Small, so that it stays near the processor.
  std::vector<Bucket> _buckets;
  /// The number of the condition at each place.
  std::vector<std::uint32_t> _conditions;
  /// The places of each condition, one condition after the other.
  std::vector<std::uint32_t> _slots;
  std::vector<std::uint32_t> _firstSlot;
};

}  // namespace oq
