#include "Manager/OQConditionIndex.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

namespace oq {

namespace {

/// Contexts with more properties than this are taken for one size.
constexpr std::size_t largestSize = 63;

std::uint64_t mixed(std::uint64_t a, std::uint64_t b) {
  std::uint64_t hash = (a ^ std::rotl(b, 31)) * 0x9e3779b97f4a7c15u;
  hash = (hash ^ (hash >> 32)) * 0xd6e8feb86659fd93u;
  hash ^= hash >> 29;
  return hash ? hash : 1;
}

/// Quick for the short texts that names, keys and values are.
std::uint64_t hashOf(std::string_view text, std::uint64_t seed = 0) {
  const auto load = [&](std::size_t at, std::size_t count) {
    std::uint64_t bytes = 0;
    std::memcpy(&bytes, text.data() + at, count);
    return bytes;
  };
  std::uint64_t hash = seed ^ text.size();
  std::size_t at = 0;
  for (; at + 8 < text.size(); at += 8) hash = mixed(hash, load(at, 8));
  if (text.size() >= 8) return mixed(hash, load(text.size() - 8, 8));
  if (text.size() >= 4) return mixed(hash, load(0, 4) | load(text.size() - 4, 4) << 32);
  if (text.empty()) return mixed(hash, 0);
  return mixed(hash, load(0, 1) | load(text.size() / 2, 1) << 8 | load(text.size() - 1, 1) << 16);
}

std::uint64_t hashOf(std::uint64_t name, std::string_view key, std::string_view value) {
  return hashOf(value, hashOf(key, name));
}

/// Under which the conditions of a name without properties stand.
std::uint64_t withoutProperties(std::uint64_t name) {
  return mixed(name, 1);
}

/// Under which the conditions of one size stand that have the property, among others.
std::uint64_t withOthers(std::uint64_t property, std::size_t size) {
  return mixed(property, size + 2);
}

std::size_t sizeOf(const Dictionary* context) {
  return context ? std::min(context->size(), largestSize) : 0;
}

std::size_t roomFor(std::size_t count) {
  return std::bit_ceil(count * 2 + 1);
}

template <class Cells>
auto& cellOf(Cells& cells, std::uint64_t hash) {
  std::size_t at = hash & (cells.size() - 1);
  while (cells[at].hash != 0 && cells[at].hash != hash) at = (at + 1) & (cells.size() - 1);
  return cells[at];
}

}  // namespace

class OQConditionIndex::Builder {
 public:
  explicit Builder(OQConditionIndex& index) : _index(index) {
    readConditions(index._all);
    countProperties();
    chooseKeys();
    placeConditions();
  }

 private:
  struct Condition {
    std::uint32_t number;
    std::uint64_t name;
    std::size_t size;
    std::size_t firstProperty, endProperty;
    bool hasOnlyTexts;
  };
  struct Key {
    std::uint64_t hash;
    std::uint32_t condition;
    bool isName;  ///< and nothing else
  };
  struct Count {
    std::uint64_t hash = 0;
    std::size_t count = 0;
  };

  void readConditions(const Conditions& conditions) {
    for (std::size_t number = 0; number < conditions.size(); ++number) {
      const OQWindowEvent* condition = conditions[number].get();
      if (!condition || !condition->available() || !condition->xwhat().is_string()) continue;
      const Dictionary* context = condition->xcontext().if_object();
      const std::uint64_t name = hashOf(condition->xwhat().get_string());
      const std::size_t first = _properties.size();
      if (context) {
        for (const auto& [key, value] : *context) {
          if (value.is_string()) _properties.push_back(hashOf(name, key, value.get_string()));
        }
      }
      const bool hasOnlyTexts = !context || _properties.size() - first == context->size();
      _read.push_back({static_cast<std::uint32_t>(number), name, sizeOf(context), first, _properties.size(),
                       hasOnlyTexts});
    }
  }

  void countProperties() {
    _counts.resize(roomFor(_properties.size()));
    for (const std::uint64_t property : _properties) {
      Count& cell = cellOf(_counts, property);
      cell.hash = property;
      ++cell.count;
    }
  }

  void chooseKeys() {
    _keys.reserve(_read.size() * 2 + _properties.size());
    for (const Condition& condition : _read) {
      addKey(condition.name, condition, true);
      if (condition.size == 0) addKey(withoutProperties(condition.name), condition, true);
      // What asks for something that is no text is satisfied by no event that has as many properties.
      if (condition.size > 0 && condition.hasOnlyTexts) addKey(rarestProperty(condition), condition);
      if (condition.size < 2) continue;
      for (std::size_t i = condition.firstProperty; i < condition.endProperty; ++i) {
        addKey(withOthers(_properties[i], condition.size), condition);
      }
    }
  }

  void addKey(std::uint64_t hash, const Condition& condition, bool isName = false) {
    _keys.push_back({hash, condition.number, isName});
  }

  std::uint64_t rarestProperty(const Condition& condition) {
    const auto first = _properties.begin() + static_cast<std::ptrdiff_t>(condition.firstProperty);
    const auto end = _properties.begin() + static_cast<std::ptrdiff_t>(condition.endProperty);
    return *std::min_element(first, end, [&](std::uint64_t one, std::uint64_t other) {
      return cellOf(_counts, one).count < cellOf(_counts, other).count;
    });
  }

  void placeConditions() {
    auto& buckets = _index._buckets;
    buckets.resize(roomFor(_keys.size()));
    _index._firstSlot.resize(_index._all.size() + 1);
    for (const Key& key : _keys) {
      Bucket& bucket = cellOf(buckets, key.hash);
      bucket.hash = key.hash;
      bucket.isOfOneName = true;
      ++bucket.range.end;
      ++_index._firstSlot[key.condition + 1];
    }
    for (const Condition& condition : _read) {
      cellOf(buckets, condition.name).sizes |= std::uint64_t{1} << condition.size;
    }
    std::uint32_t slot = 0;
    for (Bucket& bucket : buckets) {
      const std::uint32_t count = bucket.range.end;
      bucket.range = {slot, slot, false};
      slot += count;
    }
    fillSlots();
  }

  /// The keys stand in the order of the conditions, and so do the conditions in each bucket.
  void fillSlots() {
    auto& firstSlot = _index._firstSlot;
    for (std::size_t i = 1; i < firstSlot.size(); ++i) firstSlot[i] += firstSlot[i - 1];
    _index._conditions.resize(_keys.size());
    _index._slots.resize(_keys.size());
    for (std::uint32_t i = 0; i < _keys.size(); ++i) {
      Bucket& bucket = cellOf(_index._buckets, _keys[i].hash);
      const std::uint32_t slot = bucket.range.end++;
      _index._conditions[slot] = _keys[i].condition;
      // Two names may share a hash, and so may a name and a property.
      const bool isName =
          _keys[i].isName && nameOf(_keys[i].condition) == nameOf(_index._conditions[bucket.range.begin]);
      if (!isName) bucket.isOfOneName = false;
      _index._slots[i] = slot;
    }
  }

  const Value& nameOf(std::uint32_t condition) const { return _index._all[condition]->xwhat(); }

  OQConditionIndex& _index;
  std::vector<Condition> _read;
  std::vector<std::uint64_t> _properties;
  std::vector<Count> _counts;
  std::vector<Key> _keys;
};

OQConditionIndex::OQConditionIndex(Conditions conditions) : _all(std::move(conditions)) {
  Builder{*this};
}

OQConditionIndex::Range OQConditionIndex::wholeRange(const Bucket& bucket, const Value& name) const {
  Range range = bucket.range;
  range.isCertain = bucket.isOfOneName && _all[_conditions[range.begin]]->xwhat() == name;
  return range;
}

const OQConditionIndex::Bucket* OQConditionIndex::find(std::uint64_t hash) const {
  const Bucket& bucket = cellOf(_buckets, hash);
  return bucket.hash ? &bucket : nullptr;
}

OQConditionIndex::Ranges OQConditionIndex::lookUp(const OQWindowEvent& event) const {
  Ranges ranges;
  const auto* text = event.xwhat().if_string();
  if (_buckets.empty() || !text || !event.available()) return ranges;
  const std::uint64_t name = hashOf(*text);
  const Bucket* named = find(name);
  if (!named) return ranges;

  const Dictionary* context = event.xcontext().if_object();
  if (!context || context->empty()) {
    ranges.push_back(wholeRange(*named, event.xwhat()));
    return ranges;
  }
  if (named->sizes & 1) ranges.push_back(wholeRange(*find(withoutProperties(name)), event.xwhat()));
  if (named->sizes == 1) return ranges;
  boost::container::small_vector<std::uint64_t, 24> properties;
  for (const auto& [key, value] : *context) {
    if (!value.is_string()) continue;
    properties.push_back(hashOf(name, key, value.get_string()));
    if (const Bucket* asked = find(properties.back())) ranges.push_back(asked->range);
  }
  const std::size_t size = sizeOf(context);
  const std::uint64_t larger = named->sizes & (~std::uint64_t{0} << std::min(size + 1, largestSize));
  const bool hasOnlyTexts = properties.size() == context->size();
  if (larger && hasOnlyTexts) lookUpLarger(properties, larger, ranges);
  return ranges;
}

void OQConditionIndex::lookUpLarger(std::span<const std::uint64_t> properties, std::uint64_t sizes,
                                    Ranges& ranges) const {
  for (; sizes; sizes &= sizes - 1) {
    const auto size = static_cast<std::size_t>(std::countr_zero(sizes));
    const Bucket* rarest = nullptr;
    for (const std::uint64_t property : properties) {
      const Bucket* asked = find(withOthers(property, size));
      if (!asked) {
        rarest = nullptr;
        break;
      }
      if (!rarest || asked->range.size() < rarest->range.size()) rarest = asked;
    }
    if (rarest) ranges.push_back(rarest->range);
  }
}

OQConditionIndex::Range OQConditionIndex::from(const Range& range, std::size_t condition) const {
  const auto conditions = std::span(_conditions).subspan(range.begin, range.size());
  const auto first = std::ranges::lower_bound(conditions, condition);
  return {range.begin + static_cast<std::uint32_t>(first - conditions.begin()), range.end, range.isCertain};
}

std::span<const std::uint32_t> OQConditionIndex::slotsOf(std::size_t condition) const {
  return std::span(_slots).subspan(_firstSlot[condition], _firstSlot[condition + 1] - _firstSlot[condition]);
}

}  // namespace oq
