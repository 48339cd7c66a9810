// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>

#include "WebKit/WebEngine.h"
#include "oqsdk/Export.h"

namespace oq {

/// The engine of the installed host. The caller owns the engine, and must call setWebEngine(nullptr) before destroying
/// it. Main thread only.
OQSDK_EXPORT void setWebEngine(WebEngine* engine);
/// nullptr without a host, or if the host has no web engine.
WebEngine* webEngine();
/// Whether this host can show web pages, as far as is known. True while no host is installed. With a host: false if it
/// has no engine, or while the engine reports that it cannot run here. A page that is opened anyway fails to load, with
/// the reason. Any thread.
OQSDK_EXPORT bool canShowWebPages();
/// To be called by the installed engine when it finds out whether it can run in this process. Main thread only.
OQSDK_EXPORT void setCanShowWebPages(bool can);
/// Prepares the installed engine, and each one that is installed later.
void prepareWebEngine();
/// The folder in which engines keep what pages store. Not created by this call.
OQSDK_EXPORT std::filesystem::path webDataDirectory();
/// Removes what pages have stored, also in earlier runs.
void removeWebData();

}  // namespace oq
