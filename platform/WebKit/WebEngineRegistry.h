// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "WebKit/WebEngine.h"
#include "oqsdk/Export.h"

namespace oq {

/// The engine of the installed host. Owned by the caller, which must reset it to nullptr before destroying it. Main
/// thread only.
OQSDK_EXPORT void setWebEngine(WebEngine* engine);
/// nullptr without a host, or if the host has no web engine.
WebEngine* webEngine();
/// Prepares the installed engine, and each one that is installed later.
void prepareWebEngine();

}  // namespace oq
