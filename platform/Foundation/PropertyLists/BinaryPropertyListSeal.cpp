// SPDX-License-Identifier: Apache-2.0
#include <zlib.h>

#include <algorithm>
#include <string_view>

#include "Foundation/PropertyLists/BinaryPropertyListView.h"

namespace oq::plist {
namespace {

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

}  // namespace oq::plist
