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
};

/// Loads the module, unless its engine would end the process here: then, as where the module is missing or of another
/// version, nullopt with the reason. Any thread. Runs none of the engine's functions.
std::optional<WebModule> loadWebModule(const SandboxTrial& sandbox, std::string& reason);

}  // namespace oq::gtk
