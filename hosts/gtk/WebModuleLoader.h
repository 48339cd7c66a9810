// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

#include "WebSandbox.h"
#include "webkit/WebModule.h"

namespace oq::gtk {

/// The functions of the module with the web engine.
struct WebModule {
  OpenWebPage open;
  PrepareWebPages prepare;
  RemoveWebData removeData;
};

/// Whether the module's file exists. Thread-safe.
bool isWebModuleInstalled();
/// Loads the module, but calls none of the engine's functions. Returns nullopt and sets `reason` if the module is
/// missing or has another version, or if the engine would end this process. Thread-safe.
std::optional<WebModule> loadWebModule(const SandboxTrial& sandbox, std::string& reason);

}  // namespace oq::gtk
