#pragma once

#include <optional>
#include <string>

namespace oq::gtk {

/// Why the web engine's sandbox cannot be built here, or its processes could not reach the display of this name from
/// inside; nullopt where they can. The engine ends the process where they cannot. Runs the tool that builds the
/// sandbox, which takes a few milliseconds. Any thread.
std::optional<std::string> objectionToSandbox(const std::string& display);

}  // namespace oq::gtk
