// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "Foundation/Values/Data.h"
#include "Foundation/Values/Date.h"

namespace oq::plist {

/// The index of a node in a Table. A Table represents a binary property list as a flat list of nodes. Shared nodes are
/// not expanded, so the memory for a hostile file is bounded by its size.
using Ref = std::uint32_t;
struct Uid {
  std::uint64_t value = 0;
  bool operator==(const Uid&) const = default;
};
struct ArrayNode {
  std::vector<Ref> items;
};
struct DictNode {
  std::vector<Ref> keys;
  std::vector<Ref> values;
};
struct NullNode {};
/// A floating-point node keeps whether it is single precision.
struct RealNode {
  double value = 0;
  bool single = false;
};
/// Strings are UTF-8. An unsigned integer is used only for numbers that exceed the signed range.
using Node = std::variant<NullNode, bool, std::int64_t, std::uint64_t, RealNode, Date, Data, std::string, Uid,
                          ArrayNode, DictNode>;

struct Table {
  std::vector<Node> nodes;
  Ref root = 0;
  Ref add(Node node) {
    nodes.push_back(std::move(node));
    return static_cast<Ref>(nodes.size() - 1);
  }
};

/// Invalid UTF-8 in a string is written as U+FFFD.
Data write(const Table& table);
/// nullopt unless the data is a well-formed binary property list of at most four million nodes. Wrong offsets, sizes,
/// references or strings, overlapping nodes, and keys that are not strings make it malformed. Nodes may refer to each
/// other in cycles.
std::optional<Table> read(const Data& data);

/// Writes the table with a checksum that other tools ignore: a data entry "OQChecksum" in the root dictionary. It
/// contains 8 bytes of magic and a CRC-32 of the whole file, computed while the four bytes of the CRC are zero. The
/// result is empty if the root is not a dictionary.
Data writeSealed(Table table);
/// Checks size (at most 256 MiB), checksum and structure, in this order; nullopt if one of them is wrong.
std::optional<Table> readSealed(const Data& data);

}  // namespace oq::plist
