// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace oq::gtk {

/// How to try the web engine's sandbox. It contains all values from the environment, because the host may change the
/// environment while another thread reads it.
struct SandboxTrial {
  bool isNeeded = true;
  std::string display;
  std::vector<std::string> command, environment;
};
/// Main thread only. `display` is the name of the host's display.
SandboxTrial sandboxTrial(const std::string& display);

/// Why the web engine's sandbox cannot be built here, or why its processes could not reach the display from inside;
/// nullopt if both work. If they do not, the engine ends the process. Runs the tool that builds the sandbox, which
/// takes a few milliseconds. Thread-safe.
std::optional<std::string> objectionToSandbox(const SandboxTrial& trial);

}  // namespace oq::gtk
