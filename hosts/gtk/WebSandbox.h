#pragma once

#include <optional>
#include <string>
#include <vector>

namespace oq::gtk {

/// How to try the web engine's sandbox: all that comes from the environment, which the host may change while another
/// thread reads it.
struct SandboxTrial {
  bool isNeeded = true;
  std::string display;
  std::vector<std::string> command, environment;
};
/// Main thread only. `display` is the name of the host's.
SandboxTrial sandboxTrial(const std::string& display);

/// Why the web engine's sandbox cannot be built here, or its processes could not reach the display from inside; nullopt
/// where they can. The engine ends the process where they cannot. Runs the tool that builds the sandbox, which takes a
/// few milliseconds. Any thread.
std::optional<std::string> objectionToSandbox(const SandboxTrial& trial);

}  // namespace oq::gtk
