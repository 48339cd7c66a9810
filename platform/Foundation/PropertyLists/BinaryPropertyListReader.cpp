// SPDX-License-Identifier: Apache-2.0
#include <bit>

#include "Foundation/PropertyLists/BinaryPropertyListView.h"

namespace oq::plist {
namespace {

std::vector<Ref> references(const View& view, const View::Item& item, std::uint64_t first) {
  std::vector<Ref> refs;
  refs.reserve(item.value);
  for (std::uint64_t i = 0; i < item.value; ++i) refs.push_back(view.reference(item, first + i));
  return refs;
}

Node nodeOf(const View& view, const View::Item& item) {
  using Kind = View::Kind;
  switch (item.kind) {
    case Kind::Null:
      break;
    case Kind::Bool:
      return item.value != 0;
    case Kind::Integer:
      return item.integer();
    case Kind::Unsigned:
      return item.value;
    case Kind::Real:
      return RealNode{item.real(), item.isSingle()};
    case Kind::Date:
      return dateFromSecondsSince1970(item.real() + kReferenceDate);
    case Kind::Uid:
      return Uid{item.value};
    case Kind::Bytes:
      return dataFromString(view.bytes(item));
    case Kind::ASCII:
    case Kind::UTF16:
      return view.text(item);
    case Kind::Array:
      return ArrayNode{references(view, item, 0)};
    case Kind::Dictionary:
      return DictNode{references(view, item, 0), references(view, item, item.value)};
  }
  return NullNode{};
}

Table tableOf(const View& view) {
  Table table;
  table.nodes.reserve(view.count());
  for (Ref ref = 0; ref < view.count(); ++ref) table.add(nodeOf(view, view.item(ref)));
  table.root = view.root();
  return table;
}

}  // namespace

std::optional<Table> read(const Data& data) {
  auto view = View::open(data);
  return view ? std::optional(tableOf(*view)) : std::nullopt;
}

std::optional<Table> readSealed(const Data& data) {
  auto view = openSealed(data);
  return view ? std::optional(tableOf(*view)) : std::nullopt;
}

}  // namespace oq::plist
