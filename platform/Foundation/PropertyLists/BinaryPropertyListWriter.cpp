// SPDX-License-Identifier: Apache-2.0
#include <bit>
#include <limits>

#include "Foundation/PropertyLists/BinaryPropertyList.h"
#include "Foundation/PropertyLists/BinaryPropertyListFormat.h"
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

}  // namespace

Data write(const Table& table) {
  return Writer(table).write();
}

}  // namespace oq::plist
