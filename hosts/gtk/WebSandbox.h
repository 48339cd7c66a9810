// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace oq::gtk {

/// What objectionToSandbox() needs to try the web engine's sandbox. The values from the environment are copied on the
/// main thread, because the host may change the environment while another thread reads it.
struct SandboxTrial {
  bool isNeeded = true;
  std::string display;
  std::vector<std::string> command, environment;
};
/// Main thread only. `display` is the name of the host's display.
SandboxTrial sandboxTrial(const std::string& display);

/// Why the web engine's sandbox cannot be built here, or why the processes in it could not reach the display; nullopt
/// if there is no problem. If there is one, opening a page would end the host's process. Runs the tool that builds the
/// sandbox, which takes a few milliseconds. Thread-safe.
std::optional<std::string> objectionToSandbox(const SandboxTrial& trial);

}  // namespace oq::gtk
