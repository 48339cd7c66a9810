#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "Foundation/Values/Data.h"
#include "Foundation/Values/Date.h"

namespace oq::plist {

/// The binary property list format as a flat table of nodes in which references stay indices: shared nodes
/// are not expanded, and a hostile file costs no more memory than its own size warrants.
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
/// A floating-point node remembers whether it is single precision.
struct RealNode {
  double value = 0;
  bool single = false;
};
/// Strings are UTF-8. An unsigned integer is one that no signed one can hold.
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

/// Bytes of a string that are not UTF-8 are written as U+FFFD.
Data write(const Table& table);
/// nullopt for anything that is not a well-formed binary property list of at most four million nodes: bad
/// offsets, sizes, references, text, keys that are no strings. Nodes may refer to each other in circles.
std::optional<Table> read(const Data& data);

/// A checksum that every tool tolerates: a data entry "OQChecksum" in the root dictionary, 8 bytes of magic
/// and a CRC-32 of the whole file with those 4 bytes zero. Empty unless the root is a dictionary.
Data writeSealed(Table table);
/// Checks size (at most 256 MiB), checksum and structure, in this order.
std::optional<Table> readSealed(const Data& data);

}  // namespace oq::plist
