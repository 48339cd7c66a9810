#pragma once

#include "WebKit/WebEngine.h"
#include "oqsdk/Export.h"

namespace oq {

/// The engine of the installed host. Owned by the caller, who takes it away with nullptr before it ends. Main
/// thread only.
OQSDK_EXPORT void setWebEngine(WebEngine* engine);
/// nullptr without a host, or with one that shows no pages.
WebEngine* webEngine();
/// Prepares the installed engine, and each one that is installed later.
void prepareWebEngine();

}  // namespace oq
