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
/// Loads the module. nullopt, with the reason, if it is missing, has another version, or its engine would end the
/// process here. Thread-safe. Calls none of the engine's functions.
std::optional<WebModule> loadWebModule(const SandboxTrial& sandbox, std::string& reason);

}  // namespace oq::gtk
