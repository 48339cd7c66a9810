// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "oqsdk/Export.h"

namespace oq {

/// Returns the path of a module that a host loads at run time, such as a web engine; empty if the module is not
/// installed. `file` is the module's file name. It is searched for in the folder of the library or program that
/// contains `function`, in that folder's subfolder "oqsdk", and then in the folders `more`. Relative paths are ignored,
/// so the current folder does not matter. Thread-safe.
OQSDK_EXPORT std::filesystem::path findModule(const std::string& file, const void* function,
                                              const std::vector<std::filesystem::path>& more);

}  // namespace oq
