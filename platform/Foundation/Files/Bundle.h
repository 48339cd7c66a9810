#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "oqsdk/Export.h"

namespace oq {

/// What the host says of itself when it installs the library; empty texts fall back to the program's name and "".
OQSDK_EXPORT void setMainBundle(std::string identifier, std::string shortVersion);
std::string mainBundleIdentifier();
std::string mainBundleShortVersion();
/// Grows with every call of setMainBundle.
std::uint64_t mainBundleGeneration();

/// A folder of resources that belongs to the library: `name` + ".bundle" beside the library's data. Looked for in
/// $OQSDK_RESOURCE_DIR, in share/oqsdk of the prefix that the library was loaded from, where it was to be installed
/// when it was built, and in its source tree, in this order.
std::optional<std::filesystem::path> pathForResourceBundle(std::string_view name);
/// A file of such a bundle; nullopt when either is missing.
std::optional<std::filesystem::path> pathForResource(std::string_view bundle, std::string_view file);

}  // namespace oq
