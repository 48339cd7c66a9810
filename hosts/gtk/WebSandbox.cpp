// SPDX-License-Identifier: Apache-2.0
#include "WebSandbox.h"

#include <glib.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

namespace oq::gtk {

namespace {

// The engine uses these absolute paths, regardless of PATH.
constexpr const char* kSandboxTool = "/usr/bin/bwrap";
constexpr const char* kBusProxy = "/usr/bin/xdg-dbus-proxy";

/// Whether the engine's own environment variable disables its sandbox. Applications should not set this variable.
bool isSandboxDisabled() {
  const char* disabled = std::getenv("WEBKIT_DISABLE_SANDBOX_THIS_IS_DANGEROUS");
  return disabled && std::string(disabled) == "1";
}

class Command {
 public:
  Command& operator()(std::vector<std::string> words) {
    _words.insert(_words.end(), words.begin(), words.end());
    return *this;
  }
  Command& mount(const char* option, const std::string& path) { return (*this)({option, path, path}); }

  const std::vector<std::string>& words() const { return _words; }

 private:
  std::vector<std::string> _words;
};

std::vector<char*> pointersTo(const std::vector<std::string>& words) {
  std::vector<char*> pointers;
  for (const std::string& word : words) pointers.push_back(const_cast<char*>(word.c_str()));
  pointers.push_back(nullptr);
  return pointers;
}

/// What the command wrote to its error output, or why it did not run; nullopt if it succeeded.
std::optional<std::string> failureOf(const SandboxTrial& trial) {
  auto arguments = pointersTo(trial.command), environment = pointersTo(trial.environment);
  g_autofree char* said = nullptr;
  g_autoptr(GError) error = nullptr;
  int status = 0;
  if (g_spawn_sync(nullptr, arguments.data(), environment.data(), G_SPAWN_STDOUT_TO_DEV_NULL, nullptr, nullptr, nullptr,
                   &said, &status, &error) &&
      g_spawn_check_wait_status(status, &error))
    return std::nullopt;
  const std::string text = said ? g_strchomp(said) : "";
  return text.empty() ? error->message : text;
}

/// The command that tries the sandbox. It uses the namespaces and mounts with which the engine starts its processes, so
/// that it fails exactly when they would fail. It includes optional mounts, because these fail too if their folder may
/// not be searched; one mount per folder is enough. The program that runs inside is the D-Bus proxy, which the engine
/// needs as well.
Command sandbox() {
  Command command;
  command({kSandboxTool, "--unshare-pid", "--unshare-ipc", "--unshare-uts", "--unshare-net"});
  command.mount("--ro-bind", "/etc")({"--dev", "/dev", "--proc", "/proc", "--tmpfs", "/tmp"});
  command({"--dir", g_get_user_runtime_dir()});
  command({"--symlink", "../run", "/var/run", "--symlink", "../tmp", "/var/tmp"});
  for (const char* part : {"block", "bus", "class", "dev", "devices"})
    command.mount("--ro-bind", std::string("/sys/") + part);
  for (const char* libraries : {"/usr/share", "/usr/local/share", "/lib", "/usr/lib", "/usr/local/lib", "/lib64",
                                "/usr/lib64", "/usr/local/lib64"})
    command.mount("--ro-bind-try", libraries);
  command.mount("--ro-bind", kBusProxy);
  command.mount("--bind-try", std::string(g_get_user_runtime_dir()) + "/pulse");
  command.mount("--ro-bind-try", std::string(g_get_user_config_dir()) + "/pulse");
  command.mount("--ro-bind-try", std::string(g_get_home_dir()) + "/.fonts");
  const char* displayKey = g_getenv("XAUTHORITY");
  command.mount("--ro-bind-try", displayKey ? displayKey : std::string(g_get_home_dir()) + "/.Xauthority");
  command.mount("--bind-try", std::string(g_get_user_cache_dir()) + "/fontconfig");
  command.mount("--ro-bind-try", std::string(g_get_user_data_dir()) + "/fonts");
  return command({"--", kBusProxy, "--version"});
}

/// The socket through which the sandbox reaches a local X display; the sandbox has no network, and so no abstract
/// sockets. "" for other displays.
std::string socketOf(const std::string& display) {
  if (!display.starts_with(':')) return "";
  return "/tmp/.X11-unix/X" + display.substr(1, display.find('.') - 1);
}

}  // namespace

SandboxTrial sandboxTrial(const std::string& display) {
  SandboxTrial trial{!isSandboxDisabled(), display, sandbox().words(), {}};
  g_auto(GStrv) environment = g_get_environ();
  for (char** variable = environment; *variable; ++variable) trial.environment.emplace_back(*variable);
  return trial;
}

std::optional<std::string> objectionToSandbox(const SandboxTrial& trial) {
  if (!trial.isNeeded) return std::nullopt;
  const std::string socket = socketOf(trial.display);
  if (!socket.empty() && ::access(socket.c_str(), R_OK | W_OK) != 0)
    return "the web engine's sandbox cannot reach the display: there is no " + socket;
  const auto failure = failureOf(trial);
  if (!failure) return std::nullopt;
  return "the web engine's sandbox cannot be built: " + *failure;
}

}  // namespace oq::gtk
