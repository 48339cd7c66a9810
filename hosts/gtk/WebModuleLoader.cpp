// SPDX-License-Identifier: Apache-2.0
#include "WebModuleLoader.h"

#include <dlfcn.h>

#include <filesystem>
#include <system_error>
#include <vector>

namespace oq::gtk {

namespace {

namespace fs = std::filesystem;
constexpr const char* kModuleFile = "liboqsdk-webkit.so";

/// The folder of the library, or of the program if it is linked statically; "" if unknown.
fs::path ownFolder() {
  Dl_info ours{};
  const bool isKnown = dladdr(reinterpret_cast<void*>(&loadWebModule), &ours) != 0 && ours.dli_fname;
  fs::path file = isKnown ? ours.dli_fname : "";
  // For a program, dladdr() returns the name with which it was started. That name need not be its path.
  if (!file.is_absolute()) file = "/proc/self/exe";
  std::error_code error;
  file = fs::canonical(file, error);
  return error ? fs::path() : file.parent_path();
}

/// The folders in which the module is searched for: the library's folder, its subfolder for modules, the build folder
/// and the installation folder. None is relative to the current folder.
std::vector<fs::path> modulePlaces() {
  std::vector<fs::path> places;
  if (const fs::path folder = ownFolder(); !folder.empty()) places = {folder, folder / "oqsdk"};
#ifdef OQSDK_BUILT_MODULE_DIR
  places.emplace_back(OQSDK_BUILT_MODULE_DIR);
#endif
  places.emplace_back(OQSDK_INSTALLED_MODULE_DIR);
  return places;
}

fs::path findModule() {
  std::error_code error;
  for (const fs::path& place : modulePlaces()) {
    if (fs::is_regular_file(place / kModuleFile, error)) return place / kModuleFile;
  }
  return {};
}

template <class Function>
Function function(void* module, const char* name) {
  return reinterpret_cast<Function>(dlsym(module, name));
}

}  // namespace

std::optional<WebModule> loadWebModule(const SandboxTrial& sandbox, std::string& reason) {
  // The engine loads libsoup 3, which ends the process if libsoup 2 is loaded.
  if (dlsym(RTLD_DEFAULT, "soup_uri_new")) {
    reason = "libsoup 2 is in this process already";
    return std::nullopt;
  }
  if (const auto problem = objectionToSandbox(sandbox)) {
    reason = *problem;
    return std::nullopt;
  }
  const fs::path file = findModule();
  // RTLD_NOW resolves all symbols here, so that this does not delay a page later.
  void* module = file.empty() ? nullptr : dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!module) {
    const char* problem = file.empty() ? nullptr : dlerror();
    reason = problem ? problem : std::string(kModuleFile) + " is not installed";
    return std::nullopt;
  }
  const auto version = function<WebModuleVersion>(module, "oqsdk_web_module_version");
  const auto open = function<OpenWebPage>(module, "oqsdk_open_web_page");
  const auto prepare = function<PrepareWebPages>(module, "oqsdk_prepare_web_pages");
  if (!version || !open || !prepare || std::string(version()) != OQSDK_WEB_MODULE_VERSION) {
    // Not unloaded: unloading the engine's libraries would end the process.
    reason = file.string() + " belongs to another version";
    return std::nullopt;
  }
  return WebModule{open, prepare};
}

}  // namespace oq::gtk
