// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

/// The names of the keyed-archive layout, for its writer and its reader.
namespace oq::archive {

inline constexpr std::string_view VersionKey = "$version";
inline constexpr std::int64_t Version = 100000;
inline constexpr std::string_view ArchiverKey = "$archiver";
inline constexpr std::string_view ArchiverName = "NSKeyedArchiver";
inline constexpr std::string_view TopKey = "$top";
inline constexpr std::string_view RootKey = "root";
inline constexpr std::string_view AllObjectsKey = "$objects";
inline constexpr std::string_view NullObject = "$null";
inline constexpr std::uint64_t NullUid = 0;

inline constexpr std::string_view ClassKey = "$class";
inline constexpr std::string_view ClassNameKey = "$classname";
inline constexpr std::string_view ClassesKey = "$classes";
inline constexpr std::string_view KeysKey = "NS.keys";
inline constexpr std::string_view ObjectsKey = "NS.objects";
inline constexpr std::array<std::string_view, 4> ColourKeys{"UIRed", "UIGreen", "UIBlue", "UIAlpha"};

/// Maximum nesting of arrays and dictionaries, for writing and reading.
inline constexpr std::size_t MaximumDepth = 512;

}  // namespace oq::archive
