// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <bit>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <variant>

#include "Foundation/PropertyLists/BinaryPropertyList.h"

/// Compares property lists before and after writing and reading.
namespace oq::plist {

/// How precisely a format stores dates: the binary one as doubles, the XML one in whole seconds.
enum class DatesIn { doubles, wholeSeconds };

inline bool isSameReal(double one, double other) {
  // Comparing bits distinguishes zero from minus zero. All not-a-numbers count as equal, since the XML form does not
  // distinguish them.
  return (std::isnan(one) && std::isnan(other)) ||
         std::bit_cast<std::uint64_t>(one) == std::bit_cast<std::uint64_t>(other);
}

inline bool isSameDate(Date one, Date other, DatesIn dates) {
  using namespace std::chrono;
  if (dates == DatesIn::wholeSeconds) return floor<seconds>(one) == floor<seconds>(other);
  // Near the ends of the clock's range, seconds as doubles are two microseconds apart. Halving avoids an overflow.
  const auto [early, late] = std::minmax({one.time_since_epoch(), other.time_since_epoch()});
  return late / 2 - early / 2 < 4us;
}

inline bool isSameNode(const Node& one, const Node& other, DatesIn dates) {
  if (one.index() != other.index()) return false;
  return std::visit(
      [&](const auto& node) {
        using Kind = std::decay_t<decltype(node)>;
        const auto& twin = std::get<Kind>(other);
        if constexpr (std::is_same_v<Kind, NullNode>) {
          return true;
        } else if constexpr (std::is_same_v<Kind, RealNode>) {
          return node.single == twin.single && isSameReal(node.value, twin.value);
        } else if constexpr (std::is_same_v<Kind, Date>) {
          return isSameDate(node, twin, dates);
        } else if constexpr (std::is_same_v<Kind, ArrayNode>) {
          return node.items == twin.items;
        } else if constexpr (std::is_same_v<Kind, DictNode>) {
          return node.keys == twin.keys && node.values == twin.values;
        } else {
          return node == twin;
        }
      },
      one);
}

inline bool isSameTable(const Table& one, const Table& other, DatesIn dates) {
  if (one.root != other.root || one.nodes.size() != other.nodes.size()) return false;
  for (std::size_t i = 0; i < one.nodes.size(); ++i) {
    if (!isSameNode(one.nodes[i], other.nodes[i], dates)) return false;
  }
  return true;
}

}  // namespace oq::plist
