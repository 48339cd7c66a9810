// SPDX-License-Identifier: Apache-2.0
#include "WebModuleLoader.h"

#include <dlfcn.h>

#include <filesystem>
#include <vector>

#include "Host/ModuleFinder.h"

namespace oq::gtk {

namespace {

namespace fs = std::filesystem;
constexpr const char* kModuleFile = "liboqsdk-webkit.so";

fs::path findModule() {
  std::vector<fs::path> more;
#ifdef OQSDK_BUILT_MODULE_DIR
  more.emplace_back(OQSDK_BUILT_MODULE_DIR);
#endif
  more.emplace_back(OQSDK_INSTALLED_MODULE_DIR);
  return oq::findModule(kModuleFile, reinterpret_cast<const void*>(&loadWebModule), more);
}

template <class Function>
Function function(void* module, const char* name) {
  return reinterpret_cast<Function>(dlsym(module, name));
}

}  // namespace

bool isWebModuleInstalled() {
  return !findModule().empty();
}

std::optional<WebModule> loadWebModule(const SandboxTrial& sandbox, std::string& reason) {
  // First, because what the engine needs is usually installed with the module, and missing with it.
  const fs::path file = findModule();
  if (file.empty()) {
    reason = std::string(kModuleFile) + " is not installed";
    return std::nullopt;
  }
  // The engine loads libsoup 3, which ends the process if libsoup 2 is loaded.
  if (dlsym(RTLD_DEFAULT, "soup_uri_new")) {
    reason = "libsoup 2 is in this process already";
    return std::nullopt;
  }
  if (const auto problem = objectionToSandbox(sandbox)) {
    reason = *problem;
    return std::nullopt;
  }
  // RTLD_NOW resolves all symbols now, on the loading thread, so that resolving them does not delay a page later.
  void* module = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!module) {
    const char* problem = dlerror();
    reason = problem ? problem : file.string() + " cannot be loaded";
    return std::nullopt;
  }
  const auto version = function<WebModuleVersion>(module, "oqsdk_web_module_version");
  const auto open = function<OpenWebPage>(module, "oqsdk_open_web_page");
  const auto prepare = function<PrepareWebPages>(module, "oqsdk_prepare_web_pages");
  const auto removeData = function<RemoveWebData>(module, "oqsdk_remove_web_data");
  if (!version || !open || !prepare || !removeData || std::string(version()) != OQSDK_WEB_MODULE_VERSION) {
    // The module stays loaded, because unloading the engine's libraries would end the process.
    reason = file.string() + " belongs to another version";
    return std::nullopt;
  }
  return WebModule{open, prepare, removeData};
}

}  // namespace oq::gtk
