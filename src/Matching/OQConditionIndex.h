// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <bit>
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

/// A set of numbers below a fixed size that finds its next member quickly, however sparse the set is. Threads may read
/// while others change it, as long as a shared set only grows or only shrinks. A search in a growing set finds every
/// number that was inserted before the search began.
class OQBitmapIndex {
 public:
  explicit OQBitmapIndex(std::size_t size = 0) : _words(size / 64 + 1), _blocks(size / 4096 + 1) {}

  void insert(std::size_t number) {
    _words[number / 64] |= bitOf(number);
    _blocks[number / 4096] |= bitOf(number / 64);
  }
  void erase(std::size_t number) {
    const std::uint64_t bit = bitOf(number);
    const bool wasLast = (_words[number / 64].fetch_and(~bit) & ~bit) == 0;
    if (wasLast) _blocks[number / 4096] &= ~bitOf(number / 64);
  }

  /// The first member in [from, end), or `end`.
  std::size_t next(std::size_t from, std::size_t end) const {
    if (from >= end) return end;
    const std::uint64_t inWord = bitsFrom(_words[from / 64], from % 64);
    if (inWord) return atMost(end, from / 64 * 64 + lowest(inWord));
    for (std::size_t word = from / 64 + 1; word * 64 < end; word = (word / 64 + 1) * 64) {
      // Other threads may change words after the block was read: a word that was filled since then is missed, and a
      // word that was emptied is skipped.
      for (std::uint64_t block = bitsFrom(_blocks[word / 64], word % 64); block; block &= block - 1) {
        const std::size_t found = word / 64 * 64 + lowest(block);
        if (const std::uint64_t members = _words[found]) return atMost(end, found * 64 + lowest(members));
      }
    }
    return end;
  }

 private:
  static std::uint64_t bitOf(std::size_t number) { return std::uint64_t{1} << (number % 64); }
  /// The bits at and above a position.
  static std::uint64_t bitsFrom(std::uint64_t bits, std::size_t position) {
    return bits & (~std::uint64_t{0} << position);
  }
  static std::size_t lowest(std::uint64_t bits) { return static_cast<std::size_t>(std::countr_zero(bits)); }
  static std::size_t atMost(std::size_t end, std::size_t number) { return number < end ? number : end; }

  std::vector<std::atomic<std::uint64_t>> _words;
  /// One bit for each word; 0 means that the word has no members.
  std::vector<std::atomic<std::uint64_t>> _blocks;
};

/// Finds, among many conditions, the few that an event can satisfy: by the event's name, and then by the property that
/// the fewest conditions of that name require. Immutable, so any thread may use it. Conditions are identified by
/// number; their names and contexts must not change.
///
/// An event and a condition are compared in the properties of the one that has fewer (OQWindowEvent::matches). So each
/// condition is stored for two kinds of search:
/// - For an event with at least as many properties as the condition: under the condition's rarest property, because the
///   event must have this property.
/// - For an event with fewer properties: under each property of the condition, together with the number of its
///   properties. The condition must have all properties of the event, so the search uses the event's rarest one.
class OQConditionIndex {
 public:
  using Conditions = std::vector<std::shared_ptr<const OQWindowEvent>>;
  /// A set of properties, one bit each (several may share a bit): a clear bit means that the property is not in the
  /// set.
  using Properties = std::uint64_t;
  /// A range of slots in the index. Each slot has the number of a condition; the numbers are ascending.
  struct Range {
    enum class Rule : std::uint8_t {
      Satisfied,  ///< the event satisfies all conditions of the range: the name is enough
      AskLess,    ///< the event must have all properties of the condition
      AskMore,    ///< the condition must have all properties of the event
    };
    std::uint32_t begin = 0;
    std::uint32_t end = 0;
    Rule rule = Rule::Satisfied;
    Properties properties = 0;  ///< of the event
    std::size_t size() const { return end - begin; }
  };
  /// Stored on the stack, unless an event has very many properties that conditions use.
  using Ranges = boost::container::small_vector<Range, 24>;

  OQConditionIndex() = default;
  /// Conditions that are nullptr or that no event can satisfy are never found.
  explicit OQConditionIndex(Conditions conditions);

  const Conditions& conditions() const { return _all; }

  /// The ranges of slots to check with isSatisfied(). They contain every condition that the event satisfies, and
  /// others.
  Ranges lookUp(const OQWindowEvent& event) const;
  std::uint32_t conditionAt(std::size_t slot) const { return _places[slot].condition; }
  /// Whether the event satisfies the condition in the slot. `range` is one of the ranges that lookUp() returned for the
  /// event and contains the slot. The result true is always correct. If the event satisfies a condition that is in
  /// several ranges, the result is true in at least one of them; for a condition with more properties than the event,
  /// in a range with the rule AskMore.
  bool isSatisfied(std::size_t slot, const Range& range, const OQWindowEvent& event) const {
    if (range.rule == Range::Rule::Satisfied) return true;
    const Place& place = _places[slot];
    const bool asksLess = range.rule == Range::Rule::AskLess;
    if (asksLess ? place.properties & ~range.properties : range.properties & ~place.properties) return false;
    return event.matches(*_all[place.condition]);
  }
  /// The part of the range that starts with this condition, or with the next higher one in the range.
  Range from(const Range& range, std::size_t condition) const;
  std::size_t slotCount() const { return _places.size(); }
  /// The slots (positions in _places) that contain the condition; several if it is in several ranges.
  std::span<const std::uint32_t> slotsOf(std::size_t condition) const;

 private:
  class Builder;
  struct Place {
    Properties properties;  ///< that the condition requires
    std::uint32_t condition;
  };
  /// The conditions of one name.
  struct Name {
    std::string text;
    Range all;
    Range withoutProperties;
    std::uint64_t sizes = 0;    ///< bit N is set if a condition has N properties
    Properties properties = 0;  ///< the properties under which conditions are stored
  };
  struct NameCell {
    std::uint64_t hash = 0;  ///< 0: free
    std::uint32_t name = 0;
  };
  /// The slots of one hash. Two properties with the same hash cost time but do no harm: every condition found is
  /// checked against the event.
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
  /// _buckets finds slots by property, _bucketsOfLarger by property and number of properties. They are separate because
  /// _buckets is used far more often and so stays in the processor's cache.
  Buckets _buckets;
  Buckets _bucketsOfLarger;
  std::vector<Place> _places;
  /// The slots of each condition, one condition after the other.
  std::vector<std::uint32_t> _slots;
  std::vector<std::uint32_t> _firstSlot;
};

}  // namespace oq
