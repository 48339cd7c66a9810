// SPDX-License-Identifier: Apache-2.0
#include "WebKit/WebEngineRegistry.h"

#include <atomic>

namespace oq {

namespace {
WebEngine* installed = nullptr;
std::atomic<bool> isUsable = true;  // until a host is installed
bool isWanted = false;
}  // namespace

void setWebEngine(WebEngine* engine) {
  installed = engine;
  isUsable = engine && engine->isInstalled();
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

void prepareWebEngine() {
  isWanted = true;
  if (installed) installed->prepare();
}

}  // namespace oq
