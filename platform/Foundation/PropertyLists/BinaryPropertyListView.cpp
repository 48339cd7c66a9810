// SPDX-License-Identifier: Apache-2.0
#include "Foundation/PropertyLists/BinaryPropertyListView.h"

#include <algorithm>
#include <bit>

#include "Foundation/Values/UTF16.h"

namespace oq::plist {
namespace {

/// True if every surrogate has its other half.
bool isWholeUTF16(const Data& data, std::size_t begin, std::size_t end) {
  for (std::size_t at = begin; at < end; at += 2) {
    unsigned kind = data[at] & 0xFC;
    if (kind == 0xDC) return false;
    if (kind != 0xD8) continue;
    at += 2;
    if (at >= end || (data[at] & 0xFC) != 0xDC) return false;
  }
  return true;
}

}  // namespace

double View::Item::real() const {
  return isSingle() ? std::bit_cast<float>(static_cast<std::uint32_t>(value)) : std::bit_cast<double>(value);
}

std::optional<Trailer> trailerOf(const Data& data) {
  if (data.size() < Header.size() + 1 + kTrailerSize) return std::nullopt;
  if (!std::equal(Header.begin(), Header.end(), data.begin())) return std::nullopt;
  std::size_t at = data.size() - kTrailerSize;
  Trailer trailer{data[at + 6], data[at + 7], numberAt(data, at + 8, 8), numberAt(data, at + 16, 8),
                  numberAt(data, at + 24, 8)};
  auto isWidth = [](unsigned width) { return width >= 1 && width <= 8; };
  if (!isWidth(trailer.offsetWidth) || !isWidth(trailer.refWidth)) return std::nullopt;
  if (trailer.count > kMaximumNodes || trailer.root >= trailer.count) return std::nullopt;
  if (trailer.tableOffset <= Header.size() || trailer.tableOffset > at) return std::nullopt;
  if (trailer.count * trailer.offsetWidth > at - trailer.tableOffset) return std::nullopt;
  // Each node takes at least one byte. Without this check, memory would be reserved for nodes that cannot exist.
  if (trailer.count > trailer.tableOffset - Header.size()) return std::nullopt;
  return trailer;
}

std::optional<View> View::open(const Data& data) {
  auto trailer = trailerOf(data);
  if (!trailer) return std::nullopt;
  View view(data, *trailer);
  return view.check() ? std::optional(view) : std::nullopt;
}

bool View::check() const {
  // Nodes of a well-formed file do not overlap. Without this check, many offsets could refer to one long node, which a
  // reader would copy each time.
  std::uint64_t unclaimed = _trailer.tableOffset - Header.size();
  for (Ref ref = 0; ref < count(); ++ref) {
    std::uint64_t offset = offsetOf(ref);
    auto item = isPlace(offset) ? itemAt(static_cast<std::size_t>(offset)) : std::nullopt;
    if (!item || item->end - offset > unclaimed || !isSound(*item)) return false;
    unclaimed -= item->end - offset;
  }
  return true;
}

bool View::isSound(const Item& item) const {
  if (item.kind == Kind::ASCII) return isASCII(bytes(item));
  if (item.kind == Kind::UTF16) return isWholeUTF16(*_data, item.begin, item.end);
  if (item.kind != Kind::Array && item.kind != Kind::Dictionary) return true;
  bool isDictionary = item.kind == Kind::Dictionary;
  for (std::uint64_t i = 0; i < (isDictionary ? 2 * item.value : item.value); ++i) {
    if (numberAt(*_data, item.begin + i * _trailer.refWidth, _trailer.refWidth) >= _trailer.count) return false;
    if (isDictionary && i < item.value && !isKey(reference(item, i))) return false;
  }
  return true;
}

/// Whether the node, which may not have been checked yet, is marked as a string.
bool View::isKey(Ref ref) const {
  std::uint64_t offset = offsetOf(ref);
  if (!isPlace(offset)) return false;
  unsigned marker = (*_data)[offset] & 0xF0;
  return marker == plist::ASCII || marker == plist::UTF16;
}

/// Reads the marker and the count, and checks that the contents end before the offset table.
std::optional<View::Item> View::itemAt(std::size_t position) const {
  unsigned marker = (*_data)[position];
  unsigned low = marker & 15;
  std::size_t begin = position + 1;
  switch (marker & 0xF0) {
    case plist::Null:
      return simpleAt(position);
    case plist::Integer:
      if (low == 4) return longNumberAt(begin);
      return low < 4 ? numberOf(Kind::Integer, begin, 1u << low) : std::nullopt;
    case plist::Real:
      return low == 2 || low == 3 ? numberOf(Kind::Real, begin, 1u << low) : std::nullopt;
    case plist::DateMarker & 0xF0:
      return low == (plist::DateMarker & 15) ? numberOf(Kind::Date, begin, 8) : std::nullopt;
    case plist::UidMarker:
      return low < 8 ? numberOf(Kind::Uid, begin, low + 1) : std::nullopt;
  }
  return countedAt(position);
}

std::optional<View::Item> View::simpleAt(std::size_t position) const {
  unsigned marker = (*_data)[position];
  if (marker == plist::Null) return Item{Kind::Null, 0, position + 1, position + 1};
  if (marker != plist::True && marker != plist::False) return std::nullopt;
  return Item{Kind::Bool, marker == plist::True, position + 1, position + 1};
}

std::optional<View::Item> View::numberOf(Kind kind, std::size_t begin, unsigned width) const {
  if (width > _trailer.tableOffset - begin) return std::nullopt;
  return Item{kind, numberAt(*_data, begin, width), begin, begin + width};
}

/// A 16-byte integer; nullopt unless it fits 64 bits, signed or unsigned.
std::optional<View::Item> View::longNumberAt(std::size_t begin) const {
  auto high = numberOf(Kind::Integer, begin, 8);
  auto low = high ? numberOf(Kind::Integer, high->end, 8) : std::nullopt;
  if (!low) return std::nullopt;
  bool hasTopBit = low->integer() < 0;
  if (high->value == 0 && hasTopBit) low->kind = Kind::Unsigned;
  bool isKnown = high->value == 0 || (high->integer() == -1 && hasTopBit);
  return isKnown ? low : std::nullopt;
}

std::optional<View::Item> View::countedAt(std::size_t position) const {
  unsigned marker = (*_data)[position];
  Item item{Kind::Null, marker & 15, position + 1, 0};
  if (item.value == 15) {
    // The count is a separate integer.
    unsigned exponent = item.begin < _trailer.tableOffset ? (*_data)[item.begin] ^ plist::Integer : 4u;
    auto count = exponent < 4 ? numberOf(Kind::Integer, item.begin + 1, 1u << exponent) : std::nullopt;
    if (!count || count->value > _trailer.tableOffset) return std::nullopt;
    item.value = count->value;
    item.begin = count->end;
  }
  std::uint64_t width = 1;
  switch (marker & 0xF0) {
    case plist::Bytes:
      item.kind = Kind::Bytes;
      break;
    case plist::ASCII:
      item.kind = Kind::ASCII;
      break;
    case plist::UTF16:
      item.kind = Kind::UTF16;
      width = 2;
      break;
    case plist::ArrayMarker:
      item.kind = Kind::Array;
      width = _trailer.refWidth;
      break;
    case plist::DictMarker:
      item.kind = Kind::Dictionary;
      width = 2 * std::uint64_t{_trailer.refWidth};
      break;
    default:
      return std::nullopt;
  }
  // The count is at most the file's size, so the product does not overflow.
  if (item.value * width > _trailer.tableOffset - item.begin) return std::nullopt;
  item.end = item.begin + item.value * width;
  return item;
}

std::string View::text(const Item& item) const {
  if (item.kind == Kind::ASCII) return std::string(bytes(item));
  std::u16string units(item.value, u'\0');
  for (std::size_t i = 0; i < units.size(); ++i) {
    units[i] = static_cast<char16_t>(numberAt(*_data, item.begin + 2 * i, 2));
  }
  return utf8FromUTF16(units).value_or("");
}

bool View::equals(const Item& item, std::string_view other) const {
  if (item.kind == Kind::ASCII) return bytes(item) == other;
  return item.kind == Kind::UTF16 && text(item) == other;
}

}  // namespace oq::plist
