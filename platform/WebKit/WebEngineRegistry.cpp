#include "WebKit/WebEngineRegistry.h"

namespace oq {

namespace {
WebEngine* installed = nullptr;
}

void setWebEngine(WebEngine* engine) {
  installed = engine;
}

WebEngine* webEngine() {
  return installed;
}

}  // namespace oq
