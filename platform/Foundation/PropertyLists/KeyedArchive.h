// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

/// The names of the keyed-archive layout, for its writer and its reader.
namespace oq::archive {

inline constexpr std::string_view kVersionKey = "$version";
inline constexpr std::int64_t kVersion = 100000;
inline constexpr std::string_view kArchiverKey = "$archiver";
inline constexpr std::string_view kArchiverName = "NSKeyedArchiver";
inline constexpr std::string_view kTopKey = "$top";
inline constexpr std::string_view kRootKey = "root";
inline constexpr std::string_view kAllObjectsKey = "$objects";
inline constexpr std::string_view kNullObject = "$null";
inline constexpr std::uint64_t kNullUid = 0;

inline constexpr std::string_view kClassKey = "$class";
inline constexpr std::string_view kClassNameKey = "$classname";
inline constexpr std::string_view kClassesKey = "$classes";
inline constexpr std::string_view kKeysKey = "NS.keys";
inline constexpr std::string_view kObjectsKey = "NS.objects";
inline constexpr std::array<std::string_view, 4> kColorKeys{"UIRed", "UIGreen", "UIBlue", "UIAlpha"};

/// Maximum nesting of arrays and dictionaries, for writing and reading.
inline constexpr std::size_t kMaximumDepth = 512;

}  // namespace oq::archive
