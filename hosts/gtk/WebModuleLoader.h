#pragma once

#include <optional>
#include <string>

#include "webkit/WebModule.h"

namespace oq::gtk {

/// The functions of the module with the web engine.
struct WebModule {
  OpenWebPage open;
  PrepareWebPages prepare;
};

/// Loads the module. nullopt, with the reason, if it is missing, has another version, or its engine would end the
/// process here. `display` is the name of the host's display. Thread-safe. Calls none of the engine's functions.
std::optional<WebModule> loadWebModule(const std::string& display, std::string& reason);

}  // namespace oq::gtk
