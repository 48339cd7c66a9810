// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

#include "StaticFiles.h"

namespace oq::server {

// The files that are installed with the server: the page for windows of the web page style, and the pages and pictures
// of the sample campaigns. Searched relative to the installed program, then in the source tree; nullopt if missing.
std::optional<StaticFiles> shippedFiles();

}  // namespace oq::server
