// SPDX-License-Identifier: Apache-2.0
#include "Foundation/PropertyLists/BinaryPropertyList.h"

#include <zlib.h>

#include <algorithm>
#include <bit>
#include <limits>
#include <string_view>

#include "Foundation/PropertyLists/BinaryPropertyListView.h"
#include "Foundation/Values/UTF16.h"

namespace oq::plist {
namespace {

/// The smallest of the widths 1, 2, 4 and 8 that holds the number.
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
    // Only the 8-byte width is signed.
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
    appendNumber(std::bit_cast<std::uint64_t>(secondsSince1970(date) - kReferenceDate), 8);
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

constexpr std::size_t kMaximumSealedSize = 256u << 20;

constexpr std::string_view kChecksumKey = "OQChecksum";
constexpr std::string_view kChecksumMagic = "OQcrc32\x01";
constexpr std::size_t kChecksumSize = 4;

std::uint32_t checksumOf(const Data& data, std::size_t position) {
  static constexpr Bytef kZero[kChecksumSize] = {};
  auto crc = crc32(0, data.data(), static_cast<uInt>(position));
  crc = crc32(crc, kZero, kChecksumSize);
  std::size_t rest = position + kChecksumSize;
  return static_cast<std::uint32_t>(crc32(crc, data.data() + rest, static_cast<uInt>(data.size() - rest)));
}

/// The position of the checksum's four bytes, if the last object before the offset table is a checksum.
std::optional<std::size_t> checksumPosition(const Data& data) {
  auto trailer = trailerOf(data);
  constexpr std::size_t Length = 1 + kChecksumMagic.size() + kChecksumSize;
  if (!trailer || trailer->tableOffset < Header.size() + Length) return std::nullopt;
  std::size_t begin = trailer->tableOffset - Length;
  bool isChecksum = data[begin] == (Bytes | (Length - 1)) &&
                    std::equal(kChecksumMagic.begin(), kChecksumMagic.end(), data.begin() + begin + 1);
  return isChecksum ? std::optional(begin + 1 + kChecksumMagic.size()) : std::nullopt;
}

}  // namespace

Data write(const Table& table) {
  return Writer(table).write();
}

std::optional<Table> read(const Data& data) {
  auto view = View::open(data);
  return view ? std::optional(tableOf(*view)) : std::nullopt;
}

Data writeSealed(Table table) {
  if (table.root >= table.nodes.size() || !std::holds_alternative<DictNode>(table.nodes[table.root])) return {};
  Ref key = table.add(std::string(kChecksumKey));
  Data placeholder = dataFromString(kChecksumMagic);
  placeholder.resize(placeholder.size() + kChecksumSize);
  Ref value = table.add(std::move(placeholder));
  auto& root = std::get<DictNode>(table.nodes[table.root]);
  root.keys.push_back(key);
  root.values.push_back(value);

  Data data = write(table);
  auto position = checksumPosition(data);
  if (!position) return {};
  std::uint32_t checksum = checksumOf(data, *position);
  for (std::size_t i = 0; i < kChecksumSize; ++i) {
    data[*position + i] = static_cast<std::uint8_t>(checksum >> (8 * (kChecksumSize - 1 - i)));
  }
  return data;
}

std::optional<View> openSealed(const Data& data) {
  if (data.size() > kMaximumSealedSize) return std::nullopt;
  auto position = checksumPosition(data);
  if (!position || numberAt(data, *position, kChecksumSize) != checksumOf(data, *position)) return std::nullopt;
  return View::open(data);
}

std::optional<Table> readSealed(const Data& data) {
  auto view = openSealed(data);
  return view ? std::optional(tableOf(*view)) : std::nullopt;
}

}  // namespace oq::plist
