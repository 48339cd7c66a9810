// SPDX-License-Identifier: Apache-2.0
#include "ShippedFiles.h"

namespace oq::server {

namespace fs = std::filesystem;

std::optional<StaticFiles> shippedFiles() {
  std::error_code error;
  const fs::path program = fs::read_symlink("/proc/self/exe", error).parent_path();
  for (const fs::path& folder : {program / OQSDK_SERVER_PAGES_FROM_PROGRAM, fs::path(OQSDK_SERVER_PAGES)}) {
    if (fs::is_directory(folder, error)) return StaticFiles(folder);
  }
  return std::nullopt;
}

}  // namespace oq::server
