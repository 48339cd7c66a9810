// SPDX-License-Identifier: Apache-2.0
#include "Foundation/Files/Bundle.h"

#include <dlfcn.h>
#include <errno.h>

#include <atomic>
#include <cstdlib>
#include <mutex>
#include <vector>

namespace oq {
namespace fs = std::filesystem;
namespace {

struct MainBundle {
  std::mutex mutex;
  std::string identifier;
  std::string shortVersion;
  std::atomic<std::uint64_t> generation{0};
};

MainBundle& mainBundle() {
  static auto* bundle = new MainBundle;  // never destroyed: threads may use it while the process ends
  return *bundle;
}

/// The folder that this code was loaded from: the library's, or the program's if the library is linked statically.
fs::path ownFolder() {
  Dl_info own{};
  const bool known = ::dladdr(reinterpret_cast<const void*>(&mainBundleGeneration), &own) != 0 && own.dli_fname;
  fs::path file = known ? own.dli_fname : "";
  std::error_code error;
  // For a program, dladdr() returns the name that the program was started with, which may not be its path.
  if (!file.is_absolute()) file = fs::read_symlink("/proc/self/exe", error);
  return file.parent_path();
}

std::vector<fs::path> resourceDirectories() {
  std::vector<fs::path> directories;
  if (const char* chosen = std::getenv("OQSDK_RESOURCE_DIR"); chosen && *chosen) directories.emplace_back(chosen);
  directories.push_back(ownFolder() / OQSDK_RESOURCES_FROM_LIBRARY);
  directories.emplace_back(OQSDK_INSTALLED_RESOURCE_DIR);
#ifdef OQSDK_SOURCE_RESOURCE_DIR
  directories.emplace_back(OQSDK_SOURCE_RESOURCE_DIR);
#endif
  return directories;
}

}  // namespace

void setMainBundle(std::string identifier, std::string shortVersion) {
  std::lock_guard lock(mainBundle().mutex);
  mainBundle().identifier = std::move(identifier);
  mainBundle().shortVersion = std::move(shortVersion);
  ++mainBundle().generation;
}

std::string mainBundleIdentifier() {
  std::lock_guard lock(mainBundle().mutex);
  return mainBundle().identifier.empty() ? program_invocation_short_name : mainBundle().identifier;
}

std::string mainBundleShortVersion() {
  std::lock_guard lock(mainBundle().mutex);
  return mainBundle().shortVersion;
}

std::uint64_t mainBundleGeneration() {
  return mainBundle().generation.load(std::memory_order_acquire);
}

std::optional<fs::path> pathForResourceBundle(std::string_view name) {
  std::error_code error;
  for (const auto& directory : resourceDirectories()) {
    fs::path bundle = directory / (std::string(name) + ".bundle");
    if (fs::is_directory(bundle, error)) return bundle;
  }
  return std::nullopt;
}

std::optional<fs::path> pathForResource(std::string_view bundle, std::string_view file) {
  auto folder = pathForResourceBundle(bundle);
  if (!folder) return std::nullopt;
  std::error_code error;
  fs::path path = *folder / file;
  return fs::is_regular_file(path, error) ? std::optional(path) : std::nullopt;
}

}  // namespace oq
