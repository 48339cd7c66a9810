// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

#include "StaticFiles.h"

namespace oq::server {

// The files that are installed with the server: the page for windows of the web page style, and the pages and pictures
// of the sample campaigns. Their folder is searched for relative to the program, then in the source tree. nullopt if
// there is no such folder.
std::optional<StaticFiles> shippedFiles();

}  // namespace oq::server
