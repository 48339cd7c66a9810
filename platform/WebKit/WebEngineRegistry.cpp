// SPDX-License-Identifier: Apache-2.0
#include "WebKit/WebEngineRegistry.h"

namespace oq {

namespace {
WebEngine* installed = nullptr;
bool isWanted = false;
}  // namespace

void setWebEngine(WebEngine* engine) {
  installed = engine;
  if (installed && isWanted) installed->prepare();
}

WebEngine* webEngine() {
  return installed;
}

void prepareWebEngine() {
  isWanted = true;
  if (installed) installed->prepare();
}

}  // namespace oq
