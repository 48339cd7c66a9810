// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "oqsdk/Export.h"

namespace oq {

/// The path of a module that a host loads at run time, such as a web engine. Searched for in the folder of the library
/// or program that contains `function`, in that folder's subfolder "oqsdk", and then in `more`. Empty if the module is
/// not installed. No relative path is used, so the current folder does not matter. Thread-safe.
OQSDK_EXPORT std::filesystem::path findModule(const std::string& file, const void* function,
                                              const std::vector<std::filesystem::path>& more);

}  // namespace oq
