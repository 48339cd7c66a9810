// SPDX-License-Identifier: Apache-2.0
#include "WebKit/WebEngineRegistry.h"

#include <atomic>
#include <system_error>

#include "Foundation/Files/FileManager.h"

namespace oq {

namespace {
WebEngine* installed = nullptr;
std::atomic<bool> isUsable = true;  // until a host is installed
bool isWanted = false;
}  // namespace

void setWebEngine(WebEngine* engine) {
  installed = engine;
  isUsable = !engine || engine->isInstalled();
  if (installed && isWanted) installed->prepare();
}

WebEngine* webEngine() {
  return installed;
}

bool canShowWebPages() {
  return isUsable;
}

void setCanShowWebPages(bool can) {
  isUsable = can && installed;
}

void removeWebData() {
  if (installed && installed->removeData()) return;
  std::error_code ignored;
  std::filesystem::remove_all(webDataDirectory(), ignored);
}

std::filesystem::path webDataDirectory() {
  return applicationDataDirectory() / "Web";
}

void prepareWebEngine() {
  isWanted = true;
  if (installed) installed->prepare();
}

}  // namespace oq
