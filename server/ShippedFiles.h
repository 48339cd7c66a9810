#pragma once

#include <optional>

#include "StaticFiles.h"

namespace oq::server {

// The pages that come with the server: the one that windows of the web page style show, and what the sample campaigns
// point at. Looked for beside the installed program and where it was built; nothing where they are missing.
std::optional<StaticFiles> shippedFiles();

}  // namespace oq::server
