// SPDX-License-Identifier: Apache-2.0
#include "support/FakePortal.h"

#include <gio/gio.h>
#include <gio/gunixfdlist.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "support/ScratchFolder.h"

namespace oq::test {

namespace {

constexpr const char* configuration =
    "<busconfig><type>session</type><listen>unix:tmpdir=/tmp</listen><policy context='default'>"
    "<allow send_destination='*' eavesdrop='true'/><allow eavesdrop='true'/><allow own='*'/></policy></busconfig>";

// A shell script that runs the bus daemon. It kills the daemon when the shell's standard input is closed, that is, when
// the test process ends.
constexpr const char* script =
    "dbus-daemon --config-file=\"$0\" --nofork --nopidfile --print-address=1 & read end; kill $!; wait";

constexpr const char* interfaces =
    "<node><interface name='org.freedesktop.portal.Email'>"
    "<method name='ComposeEmail'><arg type='s' name='parent_window' direction='in'/>"
    "<arg type='a{sv}' name='options' direction='in'/><arg type='o' name='handle' direction='out'/></method>"
    "<property name='version' type='u' access='read'/></interface>"
    "<interface name='org.freedesktop.portal.Request'><method name='Close'/></interface></node>";

constexpr const char* portal = "/org/freedesktop/portal/desktop";

std::string textIn(GVariant* options, const char* key) {
  const char* text = nullptr;
  return g_variant_lookup(options, key, "&s", &text) ? text : "";
}

FakePortal::Mail mailFrom(GVariant* options, GDBusMethodInvocation* call) {
  FakePortal::Mail mail{{}, textIn(options, "address"), textIn(options, "subject"), textIn(options, "body"), {}};
  const char** addresses = nullptr;
  if (g_variant_lookup(options, "addresses", "^a&s", &addresses)) {
    for (const char** address = addresses; *address; ++address) mail.addresses.emplace_back(*address);
    g_free(addresses);
  }
  GUnixFDList* list = g_dbus_message_get_unix_fd_list(g_dbus_method_invocation_get_message(call));
  GVariantIter* handles = nullptr;
  if (!list || !g_variant_lookup(options, "attachment_fds", "ah", &handles)) return mail;
  gint32 handle = 0;
  while (g_variant_iter_next(handles, "h", &handle)) {
    const int file = g_unix_fd_list_get(list, handle, nullptr);
    // Real portals also get the file's name from the open descriptor.
    const auto path = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(file));
    mail.files.emplace_back(path.filename().string(), textOfFile(path));
    ::close(file);
  }
  g_variant_iter_free(handles);
  return mail;
}

}  // namespace

class FakePortal::Impl {
 public:
  explicit Impl(Manners manners) : _manners(std::move(manners)) {
    startBus();
    g_main_context_push_thread_default(_context);
    connect();
    g_main_context_pop_thread_default(_context);
    _thread = std::thread([this] { g_main_loop_run(_loop); });
  }

  ~Impl() {
    runLater(0, [this] { return g_main_loop_quit(_loop), false; });
    _thread.join();
    g_dbus_connection_close_sync(_connection, nullptr, nullptr);
    g_object_unref(_connection);
    g_dbus_node_info_unref(_node);
    g_main_loop_unref(_loop);
    g_main_context_unref(_context);
    g_output_stream_close(g_subprocess_get_stdin_pipe(_daemon), nullptr, nullptr);
    g_subprocess_wait(_daemon, nullptr, nullptr);
    g_object_unref(_daemon);
    unsetenv("DBUS_SESSION_BUS_ADDRESS");
  }

  mutable std::mutex mutex;
  std::vector<Mail> mails;
  int closed = 0;

 private:
  // Does not use GTestDBus, which forks. Its child exits through the leak check, where it may wait forever for a lock
  // that another thread held at the time of the fork.
  void startBus() {
    const std::string file = _folder.write("bus.conf", configuration);
    const char* const command[] = {"sh", "-c", script, file.c_str(), nullptr};
    constexpr int flags =
        G_SUBPROCESS_FLAGS_STDIN_PIPE | G_SUBPROCESS_FLAGS_STDOUT_PIPE | G_SUBPROCESS_FLAGS_STDERR_SILENCE;
    _daemon = g_subprocess_newv(command, static_cast<GSubprocessFlags>(flags), nullptr);
    if (!_daemon) throw std::runtime_error("cannot start the shell");
    GDataInputStream* output = g_data_input_stream_new(g_subprocess_get_stdout_pipe(_daemon));
    char* line = g_data_input_stream_read_line(output, nullptr, nullptr, nullptr);
    if (!line) throw std::runtime_error("cannot start the message bus");
    setenv("DBUS_SESSION_BUS_ADDRESS", line, 1);
    g_free(line);
    g_object_unref(output);
  }

  void connect() {
    constexpr int flags =
        G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT | G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION;
    _connection = g_dbus_connection_new_for_address_sync(
        getenv("DBUS_SESSION_BUS_ADDRESS"), static_cast<GDBusConnectionFlags>(flags), nullptr, nullptr, nullptr);
    g_dbus_connection_set_exit_on_close(_connection, FALSE);
    static const GDBusInterfaceVTable email{&Impl::composeCalled, &Impl::versionRead, nullptr, {}};
    g_dbus_connection_register_object(_connection, portal, _node->interfaces[0], &email, this, nullptr, nullptr);
    g_variant_unref(g_dbus_connection_call_sync(_connection, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                                "org.freedesktop.DBus", "RequestName",
                                                g_variant_new("(su)", "org.freedesktop.portal.Desktop", 0), nullptr,
                                                G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
  }

  /// Runs the function on the portal's thread after a delay, and again while it returns true.
  void runLater(guint milliseconds, std::function<bool()> function) {
    using Function = std::function<bool()>;
    GSource* source = g_timeout_source_new(milliseconds);
    g_source_set_callback(
        source, [](gpointer call) -> gboolean { return (*static_cast<Function*>(call))(); },
        new Function(std::move(function)), [](gpointer call) { delete static_cast<Function*>(call); });
    g_source_attach(source, _context);
    g_source_unref(source);
  }

  static GVariant* versionRead(GDBusConnection*, const char*, const char*, const char*, const char*, GError**,
                               gpointer self) {
    return g_variant_new_uint32(static_cast<Impl*>(self)->_manners.version);
  }

  static void composeCalled(GDBusConnection*, const char* sender, const char*, const char*, const char*,
                            GVariant* parameters, GDBusMethodInvocation* call, gpointer self) {
    static_cast<Impl*>(self)->compose(sender, parameters, call);
  }

  static void closeCalled(GDBusConnection*, const char*, const char*, const char*, const char*, GVariant*,
                          GDBusMethodInvocation* call, gpointer self) {
    g_dbus_method_invocation_return_value(call, nullptr);
    std::lock_guard lock(static_cast<Impl*>(self)->mutex);
    ++static_cast<Impl*>(self)->closed;
  }

  void compose(const std::string& sender, GVariant* parameters, GDBusMethodInvocation* call) {
    GVariant* options = g_variant_get_child_value(parameters, 1);
    std::string client = sender.substr(1);
    std::replace(client.begin(), client.end(), '.', '_');
    const std::string token = _manners.ownHandle ? "ofItsOwn" : textIn(options, "handle_token");
    const std::string handle = std::string(portal) + "/request/" + client + "/" + token;
    {
      std::lock_guard lock(mutex);
      mails.push_back(mailFrom(options, call));
    }
    g_variant_unref(options);
    if (_manners.breaksDown) return g_dbus_connection_close_sync(_connection, nullptr, nullptr), void();
    if (!_manners.error.empty()) return g_dbus_method_invocation_return_dbus_error(call, _manners.error.c_str(), "No.");
    static const GDBusInterfaceVTable request{&Impl::closeCalled, nullptr, nullptr, {}};
    g_dbus_connection_register_object(_connection, handle.c_str(), _node->interfaces[1], &request, this, nullptr,
                                      nullptr);
    // The response is sent before the call returns.
    if (_manners.response) respond(sender, handle);
    g_dbus_method_invocation_return_value(call, g_variant_new("(o)", handle.c_str()));
    // The caller cannot subscribe to an unexpected handle before the call returns, and the portal cannot see when it
    // does. So the portal repeats the response.
    if (_manners.ownHandle) runLater(50, [this, sender, handle] { return respond(sender, handle); });
  }

  bool respond(const std::string& client, const std::string& handle) {
    GVariant* nothing = g_variant_new_array(G_VARIANT_TYPE("{sv}"), nullptr, 0);
    return g_dbus_connection_emit_signal(_connection, client.c_str(), handle.c_str(), "org.freedesktop.portal.Request",
                                         "Response", g_variant_new("(u@a{sv})", *_manners.response, nothing), nullptr);
  }

  const Manners _manners;
  const ScratchFolder _folder;
  GSubprocess* _daemon = nullptr;
  GMainContext* const _context = g_main_context_new();
  GMainLoop* const _loop = g_main_loop_new(_context, FALSE);
  GDBusNodeInfo* const _node = g_dbus_node_info_new_for_xml(interfaces, nullptr);
  GDBusConnection* _connection = nullptr;
  std::thread _thread;
};

FakePortal::FakePortal(Manners manners) : _impl(std::make_unique<Impl>(std::move(manners))) {}

FakePortal::~FakePortal() = default;

std::vector<FakePortal::Mail> FakePortal::mails() const {
  std::lock_guard lock(_impl->mutex);
  return _impl->mails;
}

int FakePortal::closedRequests() const {
  std::lock_guard lock(_impl->mutex);
  return _impl->closed;
}

}  // namespace oq::test
