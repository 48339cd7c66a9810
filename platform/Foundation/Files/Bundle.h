// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "oqsdk/Export.h"

namespace oq {

/// Sets the identifier and the version of the application; called when a host is installed. If the identifier is empty,
/// the program's name is used instead.
OQSDK_EXPORT void setMainBundle(std::string identifier, std::string shortVersion);
std::string mainBundleIdentifier();
std::string mainBundleShortVersion();
/// Increases with every call of setMainBundle().
std::uint64_t mainBundleGeneration();

/// The folder of one of the library's resource bundles: `name` + ".bundle". Searched in this order:
/// $OQSDK_RESOURCE_DIR, share/oqsdk of the prefix that the library was loaded from, the install prefix set at build
/// time, and (only in builds for development) the source tree.
std::optional<std::filesystem::path> pathForResourceBundle(std::string_view name);
/// A file of a resource bundle; nullopt if the bundle or the file is missing.
std::optional<std::filesystem::path> pathForResource(std::string_view bundle, std::string_view file);

}  // namespace oq
