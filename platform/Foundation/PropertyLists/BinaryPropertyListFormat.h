// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "Foundation/Values/Data.h"

/// The bytes of the binary property list format, for its writer, its reader and its seal.
namespace oq::plist {

// An array, not a view of a literal: the literal may be a different object in each file that includes this header.
inline constexpr std::array<char, 8> Header{'b', 'p', 'l', 'i', 's', 't', '0', '0'};
inline constexpr std::size_t kTrailerSize = 32;
inline constexpr double kReferenceDate = 978307200;  // 2001-01-01, the format's epoch
// One byte of the file can become a node of fifty bytes, so the number of nodes is limited separately.
inline constexpr std::uint64_t kMaximumNodes = 4u << 20;

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

/// Reads a big-endian number; the caller has checked that the bytes exist.
inline std::uint64_t numberAt(const Data& data, std::size_t position, unsigned width) {
  if (width == 1) return data[position];
  if (width == 2) return static_cast<std::uint64_t>(data[position]) << 8 | data[position + 1];
  std::uint64_t number = 0;
  for (unsigned i = 0; i < width; ++i) number = number << 8 | data[position + i];
  return number;
}

struct Trailer {
  unsigned offsetWidth = 0, refWidth = 0;
  std::uint64_t count = 0, root = 0, tableOffset = 0;
};

/// nullopt unless the header is right and the numbers of the trailer fit the size of the file.
std::optional<Trailer> trailerOf(const Data& data);

}  // namespace oq::plist
