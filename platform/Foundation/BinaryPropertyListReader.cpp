#include <algorithm>
#include <bit>

#include "Foundation/BinaryPropertyList.h"
#include "Foundation/BinaryPropertyListFormat.h"
#include "Foundation/UTF16.h"

namespace oq::plist {
namespace {

class Reader {
 public:
  Reader(const Data& data, const Trailer& trailer)
      : _data(data), _trailer(trailer), _end(trailer.tableOffset), _unclaimed(_end - Header.size()) {}

  std::optional<Table> read() {
    Table table;
    table.nodes.reserve(_trailer.count);
    for (std::uint64_t i = 0; i < _trailer.count; ++i) {
      std::uint64_t offset =
          numberAt(_data, _trailer.tableOffset + i * _trailer.offsetWidth, _trailer.offsetWidth);
      if (offset < Header.size() || offset >= _end) return std::nullopt;
      _position = offset;
      if (!readNode(table) || !claim(_position - offset)) return std::nullopt;
    }
    table.root = static_cast<Ref>(_trailer.root);
    if (!keysAreStrings(table)) return std::nullopt;
    return table;
  }

 private:
  /// Objects of a well-formed file do not overlap. Without this, many offsets could name one long object.
  bool claim(std::uint64_t bytes) {
    if (bytes > _unclaimed) return false;
    _unclaimed -= bytes;
    return true;
  }

  bool has(std::uint64_t bytes) const { return bytes <= _end - _position; }

  std::uint64_t take(unsigned width) {
    std::uint64_t number = numberAt(_data, _position, width);
    _position += width;
    return number;
  }

  bool readNode(Table& table) {
    std::uint8_t marker = _data[_position++];
    unsigned low = marker & 15;
    switch (marker & 0xF0) {
      case Null:
        return readSimple(marker, table);
      case Integer:
        return readInteger(low, table);
      case Real:
        return readReal(low, table);
      case DateMarker & 0xF0:
        return low == (DateMarker & 15) && readDate(table);
      case UidMarker:
        return readUid(low + 1, table);
    }
    auto count = readCount(low);
    if (!count) return false;
    switch (marker & 0xF0) {
      case Bytes:
        return readBytes(*count, table);
      case ASCII:
        return readASCII(*count, table);
      case UTF16:
        return readUTF16(*count, table);
      case ArrayMarker:
        return readArray(*count, table);
      case DictMarker:
        return readDict(*count, table);
    }
    return false;
  }

  bool readSimple(std::uint8_t marker, Table& table) {
    if (marker == Null) table.add(NullNode{});
    if (marker == True || marker == False) table.add(marker == True);
    return marker == Null || marker == True || marker == False;
  }

  bool readInteger(unsigned exponent, Table& table) {
    constexpr std::uint64_t Sign = std::uint64_t{1} << 63;
    if (exponent > 4 || !has(1u << exponent)) return false;
    if (exponent < 4) {
      table.add(static_cast<std::int64_t>(take(1u << exponent)));
      return true;
    }
    std::uint64_t high = take(8);
    std::uint64_t low = take(8);
    if (high == 0 && (low & Sign)) {
      table.add(low);
    } else if (high == ((low & Sign) ? ~std::uint64_t{0} : 0)) {
      table.add(static_cast<std::int64_t>(low));
    } else {
      return false;
    }
    return true;
  }

  bool readReal(unsigned exponent, Table& table) {
    if ((exponent != 2 && exponent != 3) || !has(1u << exponent)) return false;
    if (exponent == 2) {
      table.add(RealNode{std::bit_cast<float>(static_cast<std::uint32_t>(take(4))), true});
    } else {
      table.add(RealNode{std::bit_cast<double>(take(8)), false});
    }
    return true;
  }

  bool readDate(Table& table) {
    if (!has(8)) return false;
    table.add(dateFromSecondsSince1970(std::bit_cast<double>(take(8)) + ReferenceDate));
    return true;
  }

  bool readUid(unsigned width, Table& table) {
    if (width > 8 || !has(width)) return false;
    table.add(Uid{take(width)});
    return true;
  }

  /// The count of a marker's low half; 15 announces an integer that follows. No count exceeds the file's
  /// size.
  std::optional<std::uint64_t> readCount(unsigned low) {
    if (low < 15) return low;
    if (!has(1)) return std::nullopt;
    unsigned marker = static_cast<unsigned>(take(1));
    unsigned exponent = marker & 15;
    if ((marker & 0xF0) != Integer || exponent > 3 || !has(1u << exponent)) return std::nullopt;
    std::uint64_t count = take(1u << exponent);
    return count <= _end ? std::optional(count) : std::nullopt;
  }

  bool readBytes(std::uint64_t count, Table& table) {
    if (!has(count)) return false;
    auto begin = _data.begin() + static_cast<std::ptrdiff_t>(_position);
    table.add(Data(begin, begin + static_cast<std::ptrdiff_t>(count)));
    _position += count;
    return true;
  }

  bool readASCII(std::uint64_t count, Table& table) {
    if (!has(count)) return false;
    std::string text(reinterpret_cast<const char*>(_data.data()) + _position, count);
    _position += count;
    if (!isASCII(text)) return false;
    table.add(std::move(text));
    return true;
  }

  bool readUTF16(std::uint64_t count, Table& table) {
    if (!has(2 * count)) return false;
    std::u16string units(count, u'\0');
    for (char16_t& unit : units) unit = static_cast<char16_t>(take(2));
    auto text = utf8FromUTF16(units);
    if (!text) return false;
    table.add(*std::move(text));
    return true;
  }

  bool readRefs(std::uint64_t count, std::vector<Ref>& refs) {
    refs.reserve(count);
    for (std::uint64_t i = 0; i < count; ++i) {
      std::uint64_t ref = take(_trailer.refWidth);
      if (ref >= _trailer.count) return false;
      refs.push_back(static_cast<Ref>(ref));
    }
    return true;
  }

  bool readArray(std::uint64_t count, Table& table) {
    ArrayNode array;
    if (!has(count * _trailer.refWidth) || !readRefs(count, array.items)) return false;
    table.add(std::move(array));
    return true;
  }

  bool readDict(std::uint64_t count, Table& table) {
    DictNode dictionary;
    if (!has(2 * count * _trailer.refWidth)) return false;
    if (!readRefs(count, dictionary.keys) || !readRefs(count, dictionary.values)) return false;
    table.add(std::move(dictionary));
    return true;
  }

  static bool keysAreStrings(const Table& table) {
    return std::all_of(table.nodes.begin(), table.nodes.end(), [&](const Node& node) {
      auto* dictionary = std::get_if<DictNode>(&node);
      return !dictionary || std::all_of(dictionary->keys.begin(), dictionary->keys.end(), [&](Ref key) {
        return std::holds_alternative<std::string>(table.nodes[key]);
      });
    });
  }

  const Data& _data;
  const Trailer& _trailer;
  const std::uint64_t _end;
  std::uint64_t _unclaimed;
  std::uint64_t _position = 0;
};

}  // namespace

std::optional<Trailer> trailerOf(const Data& data) {
  if (data.size() < Header.size() + 1 + TrailerSize) return std::nullopt;
  if (!std::equal(Header.begin(), Header.end(), data.begin())) return std::nullopt;
  std::size_t at = data.size() - TrailerSize;
  Trailer trailer{data[at + 6], data[at + 7], numberAt(data, at + 8, 8), numberAt(data, at + 16, 8),
                  numberAt(data, at + 24, 8)};
  auto isWidth = [](unsigned width) { return width >= 1 && width <= 8; };
  if (!isWidth(trailer.offsetWidth) || !isWidth(trailer.refWidth)) return std::nullopt;
  if (trailer.count > MaximumNodes || trailer.root >= trailer.count) return std::nullopt;
  if (trailer.tableOffset <= Header.size() || trailer.tableOffset > at) return std::nullopt;
  if (trailer.count * trailer.offsetWidth > at - trailer.tableOffset) return std::nullopt;
  return trailer;
}

std::optional<Table> read(const Data& data) {
  auto trailer = trailerOf(data);
  return trailer ? Reader(data, *trailer).read() : std::nullopt;
}

}  // namespace oq::plist
