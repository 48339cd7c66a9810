#include <zlib.h>

#include <algorithm>
#include <string_view>

#include "Foundation/PropertyLists/BinaryPropertyListView.h"

namespace oq::plist {
namespace {

constexpr std::size_t MaximumSealedSize = 256u << 20;

constexpr std::string_view ChecksumKey = "OQChecksum";
constexpr std::string_view ChecksumMagic = "OQcrc32\x01";
constexpr std::size_t ChecksumSize = 4;

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

Data writeSealed(Table table) {
  if (table.root >= table.nodes.size() || !std::holds_alternative<DictNode>(table.nodes[table.root])) return {};
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

std::optional<View> openSealed(const Data& data) {
  if (data.size() > MaximumSealedSize) return std::nullopt;
  auto position = checksumPosition(data);
  if (!position || numberAt(data, *position, ChecksumSize) != checksumOf(data, *position)) return std::nullopt;
  return View::open(data);
}

}  // namespace oq::plist
