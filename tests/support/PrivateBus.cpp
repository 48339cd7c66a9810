// SPDX-License-Identifier: Apache-2.0
#include "support/PrivateBus.h"

#include <cstdlib>
#include <stdexcept>

namespace oq::test {

namespace {

constexpr const char* configuration =
    "<busconfig><type>session</type><listen>unix:tmpdir=/tmp</listen><policy context='default'>"
    "<allow send_destination='*' eavesdrop='true'/><allow eavesdrop='true'/><allow own='*'/></policy></busconfig>";

// The shell kills the daemon when its standard input is closed, that is when the test process ends.
constexpr const char* script =
    "dbus-daemon --config-file=\"$0\" --nofork --nopidfile --print-address=1 & read end; kill $!; wait";

}  // namespace

// Not GTestDBus: it forks, and its child exits through the leak check. There it may wait forever for a lock that
// another thread held at the time of the fork.
PrivateBus::PrivateBus() {
  const std::string file = _folder.write("bus.conf", configuration);
  const char* const command[] = {"sh", "-c", script, file.c_str(), nullptr};
  _daemon =
      g_subprocess_newv(command,
                        static_cast<GSubprocessFlags>(G_SUBPROCESS_FLAGS_STDIN_PIPE | G_SUBPROCESS_FLAGS_STDOUT_PIPE |
                                                      G_SUBPROCESS_FLAGS_STDERR_SILENCE),
                        nullptr);
  if (!_daemon) throw std::runtime_error("cannot start the shell");
  GDataInputStream* output = g_data_input_stream_new(g_subprocess_get_stdout_pipe(_daemon));
  char* line = g_data_input_stream_read_line(output, nullptr, nullptr, nullptr);
  _address = line ? line : "";
  g_free(line);
  g_object_unref(output);
  if (_address.empty()) throw std::runtime_error("cannot start the message bus");
  setenv("DBUS_SESSION_BUS_ADDRESS", _address.c_str(), 1);
}

PrivateBus::~PrivateBus() {
  stop();
  unsetenv("DBUS_SESSION_BUS_ADDRESS");
}

void PrivateBus::stop() {
  if (!_daemon) return;
  g_output_stream_close(g_subprocess_get_stdin_pipe(_daemon), nullptr, nullptr);
  g_subprocess_wait(_daemon, nullptr, nullptr);
  g_clear_object(&_daemon);
}

}  // namespace oq::test
