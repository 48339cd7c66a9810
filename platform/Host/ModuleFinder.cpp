// SPDX-License-Identifier: Apache-2.0
#include "Host/ModuleFinder.h"

#include <dlfcn.h>

#include <system_error>

namespace oq {

namespace {

namespace fs = std::filesystem;

/// The folder of the library that contains the function, or of the program if it is linked statically; "" if unknown.
fs::path folderOf(const void* function) {
  Dl_info ours{};
  const bool isKnown = dladdr(function, &ours) != 0 && ours.dli_fname;
  fs::path file = isKnown ? ours.dli_fname : "";
  // For a program, dladdr() returns the name with which it was started. That name need not be its path.
  if (!file.is_absolute()) file = "/proc/self/exe";
  std::error_code error;
  file = fs::canonical(file, error);
  return error ? fs::path() : file.parent_path();
}

}  // namespace

fs::path findModule(const std::string& file, const void* function, const std::vector<fs::path>& more) {
  std::vector<fs::path> places;
  if (const fs::path folder = folderOf(function); !folder.empty()) places = {folder, folder / "oqsdk"};
  places.insert(places.end(), more.begin(), more.end());
  std::error_code error;
  for (const fs::path& place : places) {
    if (place.is_absolute() && fs::is_regular_file(place / file, error)) return place / file;
  }
  return {};
}

}  // namespace oq
