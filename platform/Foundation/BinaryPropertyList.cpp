#include "Foundation/BinaryPropertyList.h"

#include <zlib.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>

#include "Foundation/UTF16.h"

namespace oq::plist {
namespace {

constexpr std::string_view Header = "bplist00";
constexpr std::size_t TrailerSize = 32;
constexpr double ReferenceDate = 978307200;  // 2001-01-01, from which the format counts.
// A byte of the file can stand for a node of fifty, so the number of nodes has a bound of its own.
constexpr std::uint64_t MaximumNodes = 4u << 20;
constexpr std::size_t MaximumSealedSize = 256u << 20;

constexpr std::string_view ChecksumKey = "OQChecksum";
constexpr std::string_view ChecksumMagic = "OQcrc32\x01";
constexpr std::size_t ChecksumSize = 4;

enum Marker : std::uint8_t {
  Null = 0x00,
  False = 0x08,
  True = 0x09,
  Integer = 0x10,
  Real = 0x20,
  DateMarker = 0x33,
  Bytes = 0x40,
  ASCII = 0x50,
  UTF16 = 0x60,
  UidMarker = 0x80,
  ArrayMarker = 0xA0,
  DictMarker = 0xD0,
};

/// The least of the widths 1, 2, 4 and 8 that hold the number.
unsigned widthOf(std::uint64_t number) {
  if (number <= 0xFF) return 1;
  if (number <= 0xFFFF) return 2;
  return number <= 0xFFFFFFFF ? 4 : 8;
}

class Writer {
 public:
  explicit Writer(const Table& table) : _table(table), _refWidth(widthOf(table.nodes.size())) {}

  Data write() {
    _out.reserve(16 * _table.nodes.size() + 64);
    _out.assign(Header.begin(), Header.end());
    std::vector<std::uint64_t> offsets;
    offsets.reserve(_table.nodes.size());
    for (const Node& node : _table.nodes) {
      offsets.push_back(_out.size());
      std::visit([this](const auto& value) { append(value); }, node);
    }
    std::uint64_t tableOffset = _out.size();
    unsigned offsetWidth = widthOf(tableOffset);
    for (std::uint64_t offset : offsets) appendNumber(offset, offsetWidth);
    _out.insert(_out.end(), 6, 0);
    _out.push_back(static_cast<std::uint8_t>(offsetWidth));
    _out.push_back(static_cast<std::uint8_t>(_refWidth));
    appendNumber(offsets.size(), 8);
    appendNumber(_table.root, 8);
    appendNumber(tableOffset, 8);
    return std::move(_out);
  }

 private:
  void append(const NullNode&) { _out.push_back(Null); }
  void append(bool value) { _out.push_back(value ? True : False); }
  void append(std::int64_t value) {
    auto bits = static_cast<std::uint64_t>(value);
    // Only the width of eight bytes has a sign.
    unsigned width = value < 0 ? 8 : widthOf(bits);
    _out.push_back(static_cast<std::uint8_t>(Integer | std::countr_zero(width)));
    appendNumber(bits, width);
  }
  void append(std::uint64_t value) {
    if (value <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
      return append(static_cast<std::int64_t>(value));
    }
    _out.push_back(Integer | 4);
    appendNumber(0, 8);
    appendNumber(value, 8);
  }
  void append(const RealNode& real) {
    _out.push_back(Real | (real.single ? 2 : 3));
    if (real.single) {
      appendNumber(std::bit_cast<std::uint32_t>(static_cast<float>(real.value)), 4);
    } else {
      appendNumber(std::bit_cast<std::uint64_t>(real.value), 8);
    }
  }
  void append(const Date& date) {
    _out.push_back(DateMarker);
    appendNumber(std::bit_cast<std::uint64_t>(secondsSince1970(date) - ReferenceDate), 8);
  }
  void append(const Data& data) {
    appendCount(Bytes, data.size());
    _out.insert(_out.end(), data.begin(), data.end());
  }
  void append(const std::string& text) {
    if (isASCII(text)) {
      appendCount(ASCII, text.size());
      _out.insert(_out.end(), text.begin(), text.end());
      return;
    }
    std::u16string units = utf16FromUTF8(text);
    appendCount(UTF16, units.size());
    for (char16_t unit : units) appendNumber(unit, 2);
  }
  void append(const Uid& uid) {
    unsigned width = widthOf(uid.value);
    _out.push_back(static_cast<std::uint8_t>(UidMarker | (width - 1)));
    appendNumber(uid.value, width);
  }
  void append(const ArrayNode& array) {
    appendCount(ArrayMarker, array.items.size());
    appendRefs(array.items);
  }
  void append(const DictNode& dictionary) {
    appendCount(DictMarker, dictionary.keys.size());
    appendRefs(dictionary.keys);
    appendRefs(dictionary.values);
  }

  void appendCount(Marker marker, std::size_t count) {
    if (count < 15) return _out.push_back(static_cast<std::uint8_t>(marker | count));
    _out.push_back(marker | 15);
    append(static_cast<std::int64_t>(count));
  }
  void appendRefs(const std::vector<Ref>& refs) {
    for (Ref ref : refs) appendNumber(ref, _refWidth);
  }
  void appendNumber(std::uint64_t number, unsigned width) {
    while (width-- > 0) _out.push_back(static_cast<std::uint8_t>(number >> (8 * width)));
  }

  const Table& _table;
  const unsigned _refWidth;
  Data _out;
};

std::uint64_t numberAt(const Data& data, std::size_t position, unsigned width) {
  std::uint64_t number = 0;
  for (unsigned i = 0; i < width; ++i) number = number << 8 | data[position + i];
  return number;
}

struct Trailer {
  unsigned offsetWidth = 0, refWidth = 0;
  std::uint64_t count = 0, root = 0, tableOffset = 0;
};

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

std::uint32_t checksumOf(const Data& data, std::size_t position) {
  static constexpr Bytef Zero[ChecksumSize] = {};
  auto crc = crc32(0, data.data(), static_cast<uInt>(position));
  crc = crc32(crc, Zero, ChecksumSize);
  std::size_t rest = position + ChecksumSize;
  return static_cast<std::uint32_t>(crc32(crc, data.data() + rest, static_cast<uInt>(data.size() - rest)));
}

/// Where the four bytes of the checksum are, if the last object before the table of offsets is one.
std::optional<std::size_t> checksumPosition(const Data& data) {
  auto trailer = trailerOf(data);
  constexpr std::size_t Length = 1 + ChecksumMagic.size() + ChecksumSize;
  if (!trailer || trailer->tableOffset < Header.size() + Length) return std::nullopt;
  std::size_t begin = trailer->tableOffset - Length;
  bool isChecksum = data[begin] == (Bytes | (Length - 1)) &&
                    std::equal(ChecksumMagic.begin(), ChecksumMagic.end(), data.begin() + begin + 1);
  return isChecksum ? std::optional(begin + 1 + ChecksumMagic.size()) : std::nullopt;
}

}  // namespace

Data write(const Table& table) {
  return Writer(table).write();
}

std::optional<Table> read(const Data& data) {
  auto trailer = trailerOf(data);
  return trailer ? Reader(data, *trailer).read() : std::nullopt;
}

Data writeSealed(Table table) {
  if (table.root >= table.nodes.size() || !std::holds_alternative<DictNode>(table.nodes[table.root]))
    return {};
  Ref key = table.add(std::string(ChecksumKey));
  Data placeholder = dataFromString(ChecksumMagic);
  placeholder.resize(placeholder.size() + ChecksumSize);
  Ref value = table.add(std::move(placeholder));
  auto& root = std::get<DictNode>(table.nodes[table.root]);
  root.keys.push_back(key);
  root.values.push_back(value);

  Data data = write(table);
  auto position = checksumPosition(data);
  if (!position) return {};
  std::uint32_t checksum = checksumOf(data, *position);
  for (std::size_t i = 0; i < ChecksumSize; ++i) {
    data[*position + i] = static_cast<std::uint8_t>(checksum >> (8 * (ChecksumSize - 1 - i)));
  }
  return data;
}

std::optional<Table> readSealed(const Data& data) {
  if (data.size() > MaximumSealedSize) return std::nullopt;
  auto position = checksumPosition(data);
  if (!position || numberAt(data, *position, ChecksumSize) != checksumOf(data, *position))
    return std::nullopt;
  return read(data);
}

}  // namespace oq::plist
