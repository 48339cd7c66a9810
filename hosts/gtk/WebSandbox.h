#pragma once

#include <optional>
#include <string>

namespace oq::gtk {

/// Why the web engine's sandbox cannot be built here, or why its processes could not reach this display from inside;
/// nullopt if both work. If they do not, the engine ends the process. Runs the tool that builds the sandbox, which
/// takes a few milliseconds. Thread-safe.
std::optional<std::string> objectionToSandbox(const std::string& display);

}  // namespace oq::gtk
