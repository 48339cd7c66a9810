// SPDX-License-Identifier: Apache-2.0
#include "Matching/OQConditionIndex.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

namespace oq {

namespace {

/// Contexts with more properties count as this size, because Name::sizes has one bit for each size.
constexpr std::size_t kLargestSize = 63;

std::uint64_t mixed(std::uint64_t a, std::uint64_t b) {
  __extension__ using Product = unsigned __int128;
  const Product product = Product{a ^ 0x9e3779b97f4a7c15u} * (b ^ 0xd6e8feb86659fd93u);
  const std::uint64_t hash = static_cast<std::uint64_t>(product >> 64) ^ static_cast<std::uint64_t>(product);
  return hash ? hash : 1;
}

/// Fast for short strings such as names, keys and values.
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

/// The hash for conditions that have this property, and `size` properties in total.
std::uint64_t withOthers(std::uint64_t property, std::size_t size) {
  return mixed(property, size + 2);
}

/// The bit that represents a property in OQConditionIndex::Properties.
std::uint64_t bitOf(std::uint64_t hash) {
  return std::uint64_t{1} << (hash >> 58);
}

std::size_t sizeOf(const JSONDictionary* context) {
  return context ? std::min(context->size(), kLargestSize) : 0;
}

std::size_t tableSizeFor(std::size_t count) {
  return std::bit_ceil(count * 2 + 1);
}

/// The cell with the hash, or else the free cell in which the hash must be stored.
template <class Cells>
auto& cellOf(Cells& cells, std::uint64_t hash) {
  std::size_t at = hash & (cells.size() - 1);
  while (cells[at].hash != 0 && cells[at].hash != hash) at = (at + 1) & (cells.size() - 1);
  return cells[at];
}

template <class Bucket>
const Bucket* bucketWith(const std::vector<Bucket>& buckets, std::uint64_t hash) {
  const Bucket& bucket = cellOf(buckets, hash);
  return bucket.hash ? &bucket : nullptr;
}

}  // namespace

class OQConditionIndex::Builder {
 public:
  explicit Builder(OQConditionIndex& index) : _index(index) {
    _index._nameCells.resize(tableSizeFor(0));
    for (std::uint32_t number = 0; number < _index._all.size(); ++number) read(number);
    countProperties();
    choosePlaces();
    makeBuckets(_index._buckets, Kind::Property);
    makeBuckets(_index._bucketsOfLarger, Kind::PropertyOfLarger);
    placeConditions();
  }

 private:
  struct Condition {
    std::uint32_t number;
    std::uint32_t name;
    std::size_t size;
    std::size_t firstProperty, endProperty;
    bool hasOnlyTexts;
  };
  enum class Kind : std::uint8_t { Name, NameWithoutProperties, Property, PropertyOfLarger };
  struct ChosenPlace {
    std::uint64_t key;  ///< the name's number or a hash, depending on `kind`
    Place place;
    Kind kind;
  };
  struct Count {
    std::uint64_t hash = 0;
    std::size_t count = 0;
  };

  void read(std::uint32_t number) {
    const OQWindowEvent* condition = _index._all[number].get();
    if (!condition || !condition->available() || !condition->xwhat().is_string()) return;
    const std::uint64_t hash = hashOf(condition->xwhat().get_string());
    const std::uint32_t name = nameWith(hash, condition->xwhat().get_string());
    const JSONDictionary* context = condition->xcontext().if_object();
    const std::size_t first = _properties.size();
    if (context) {
      for (const auto& [key, value] : *context) {
        if (value.is_string()) _properties.push_back(hashOf(hash, key, value.get_string()));
      }
    }
    const bool hasOnlyTexts = !context || _properties.size() - first == context->size();
    _index._names[name].sizes |= std::uint64_t{1} << sizeOf(context);
    _read.push_back({number, name, sizeOf(context), first, _properties.size(), hasOnlyTexts});
  }

  std::uint32_t nameWith(std::uint64_t hash, std::string_view text) {
    auto& names = _index._names;
    if (const Name* known = _index.find(hash, text)) return static_cast<std::uint32_t>(known - names.data());
    const NameCell cell{hash, static_cast<std::uint32_t>(names.size())};
    names.push_back({std::string(text), {}, {}});
    auto& cells = _index._nameCells;
    if (cells.size() < tableSizeFor(names.size())) {
      for (const NameCell& old : std::exchange(cells, std::vector<NameCell>(tableSizeFor(names.size())))) {
        if (old.hash) addCell(old);
      }
    }
    addCell(cell);
    return cell.name;
  }

  /// Names that share a hash have separate cells.
  void addCell(const NameCell& cell) {
    auto& cells = _index._nameCells;
    std::size_t at = cell.hash & (cells.size() - 1);
    while (cells[at].hash != 0) at = (at + 1) & (cells.size() - 1);
    cells[at] = cell;
  }

  void countProperties() {
    _counts.resize(tableSizeFor(_properties.size()));
    for (const std::uint64_t property : _properties) {
      Count& cell = cellOf(_counts, property);
      cell.hash = property;
      ++cell.count;
    }
  }

  void choosePlaces() {
    _places.reserve(_read.size() * 2 + _properties.size());
    for (const Condition& condition : _read) {
      Name& name = _index._names[condition.name];
      Place place{0, condition.number};
      for (std::size_t i = condition.firstProperty; i < condition.endProperty; ++i) {
        place.properties |= bitOf(_properties[i]);
      }
      _places.push_back({condition.name, place, Kind::Name});
      if (condition.size == 0) _places.push_back({condition.name, place, Kind::NameWithoutProperties});
      // If a condition has a value that is not a string, no event with at least as many properties satisfies it.
      if (condition.size > 0 && condition.hasOnlyTexts) {
        const std::uint64_t rarest = rarestProperty(condition);
        name.properties |= bitOf(rarest);
        _places.push_back({rarest, place, Kind::Property});
      }
      if (condition.size < 2) continue;
      for (std::size_t i = condition.firstProperty; i < condition.endProperty; ++i) {
        _places.push_back({withOthers(_properties[i], condition.size), place, Kind::PropertyOfLarger});
      }
    }
  }

  std::uint64_t rarestProperty(const Condition& condition) {
    const auto first = _properties.begin() + static_cast<std::ptrdiff_t>(condition.firstProperty);
    const auto end = _properties.begin() + static_cast<std::ptrdiff_t>(condition.endProperty);
    return *std::min_element(first, end, [&](std::uint64_t one, std::uint64_t other) {
      return cellOf(_counts, one).count < cellOf(_counts, other).count;
    });
  }

  /// Makes the table large enough for one bucket per different hash of the kind.
  void makeBuckets(Buckets& buckets, Kind kind) {
    std::vector<Count> hashes(tableSizeFor(_places.size()));
    std::size_t different = 0;
    for (const ChosenPlace& chosen : _places) {
      if (chosen.kind != kind) continue;
      Count& cell = cellOf(hashes, chosen.key);
      different += cell.hash == 0 ? 1 : 0;
      cell.hash = chosen.key;
    }
    buckets.resize(tableSizeFor(different));
  }

  void placeConditions() {
    auto& firstSlot = _index._firstSlot;
    firstSlot.resize(_index._all.size() + 1);
    for (const ChosenPlace& chosen : _places) {
      ++endOf(chosen);
      ++firstSlot[chosen.place.condition + 1];
    }
    for (std::size_t i = 1; i < firstSlot.size(); ++i) firstSlot[i] += firstSlot[i - 1];
    std::uint32_t slot = 0;
    const auto reserve = [&slot](auto& range) {
      range.begin = slot;
      slot += std::exchange(range.end, slot);
    };
    for (Name& name : _index._names) {
      reserve(name.all);
      reserve(name.withoutProperties);
    }
    for (Bucket& bucket : _index._buckets) reserve(bucket);
    for (Bucket& bucket : _index._bucketsOfLarger) reserve(bucket);
    // Filled in the order of the conditions, so that each range has that order.
    _index._places.resize(_places.size());
    _index._slots.resize(_places.size());
    for (std::size_t i = 0; i < _places.size(); ++i) {
      const std::uint32_t free = endOf(_places[i])++;
      _index._places[free] = _places[i].place;
      _index._slots[i] = free;
    }
  }

  std::uint32_t& endOf(const ChosenPlace& chosen) {
    if (chosen.kind == Kind::Name) return _index._names[chosen.key].all.end;
    if (chosen.kind == Kind::NameWithoutProperties) return _index._names[chosen.key].withoutProperties.end;
    Bucket& bucket = cellOf(chosen.kind == Kind::Property ? _index._buckets : _index._bucketsOfLarger, chosen.key);
    bucket.hash = chosen.key;
    return bucket.end;
  }

  OQConditionIndex& _index;
  std::vector<Condition> _read;
  std::vector<std::uint64_t> _properties;
  std::vector<Count> _counts;
  std::vector<ChosenPlace> _places;
};

OQConditionIndex::OQConditionIndex(Conditions conditions) : _all(std::move(conditions)) {
  Builder{*this};
}

const OQConditionIndex::Name* OQConditionIndex::find(std::uint64_t hash, std::string_view text) const {
  std::size_t at = hash & (_nameCells.size() - 1);
  for (; _nameCells[at].hash != 0; at = (at + 1) & (_nameCells.size() - 1)) {
    const Name& name = _names[_nameCells[at].name];
    if (_nameCells[at].hash == hash && name.text == text) return &name;
  }
  return nullptr;
}

OQConditionIndex::Ranges OQConditionIndex::lookUp(const OQWindowEvent& event) const {
  Ranges ranges;
  const auto* text = event.xwhat().if_string();
  if (_names.empty() || !text || !event.available()) return ranges;
  const std::uint64_t hash = hashOf(*text);
  const Name* name = find(hash, *text);
  if (!name) return ranges;

  const JSONDictionary* context = event.xcontext().if_object();
  if (!context || context->empty()) {
    ranges.push_back(name->all);
    return ranges;
  }
  if (name->withoutProperties.size() > 0) ranges.push_back(name->withoutProperties);
  if (name->sizes == 1) return ranges;
  // All hashes are computed before the first look-up: every range needs the bits of all properties, and the memory
  // accesses of the look-ups can then overlap.
  boost::container::small_vector<std::uint64_t, 24> hashes;
  Properties properties = 0;
  for (const auto& [key, value] : *context) {
    if (!value.is_string()) continue;
    hashes.push_back(hashOf(hash, key, value.get_string()));
    properties |= bitOf(hashes.back());
  }
  for (const std::uint64_t property : hashes) {
    if (!(name->properties & bitOf(property))) continue;
    const Bucket* asked = bucketWith(_buckets, property);
    if (asked) ranges.push_back({asked->begin, asked->end, Range::Rule::AskLess, properties});
  }
  const std::size_t size = sizeOf(context);
  const std::uint64_t larger = name->sizes & (~std::uint64_t{0} << std::min(size + 1, kLargestSize));
  const bool hasOnlyTexts = hashes.size() == context->size();
  if (larger && hasOnlyTexts) lookUpLarger(hashes, properties, larger, ranges);
  return ranges;
}

void OQConditionIndex::lookUpLarger(std::span<const std::uint64_t> hashes, Properties properties, std::uint64_t sizes,
                                    Ranges& ranges) const {
  for (; sizes; sizes &= sizes - 1) {
    const auto size = static_cast<std::size_t>(std::countr_zero(sizes));
    const Bucket* rarest = nullptr;
    for (const std::uint64_t property : hashes) {
      const Bucket* asked = bucketWith(_bucketsOfLarger, withOthers(property, size));
      if (!asked) {
        rarest = nullptr;
        break;
      }
      if (!rarest || asked->end - asked->begin < rarest->end - rarest->begin) rarest = asked;
    }
    if (rarest) ranges.push_back({rarest->begin, rarest->end, Range::Rule::AskMore, properties});
  }
}

OQConditionIndex::Range OQConditionIndex::from(const Range& range, std::size_t condition) const {
  const auto places = std::span(_places).subspan(range.begin, range.size());
  const auto first = std::ranges::lower_bound(places, condition, {}, &Place::condition);
  Range rest = range;
  rest.begin += static_cast<std::uint32_t>(first - places.begin());
  return rest;
}

std::span<const std::uint32_t> OQConditionIndex::slotsOf(std::size_t condition) const {
  return std::span(_slots).subspan(_firstSlot[condition], _firstSlot[condition + 1] - _firstSlot[condition]);
}

}  // namespace oq
