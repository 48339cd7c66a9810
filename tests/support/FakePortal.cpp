// SPDX-License-Identifier: Apache-2.0
#include "support/FakePortal.h"

#include <fcntl.h>
#include <gio/gunixfdlist.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>

namespace oq::test {

namespace {

constexpr const char* interfaces =
    "<node><interface name='org.freedesktop.portal.Email'>"
    "<method name='ComposeEmail'><arg type='s' name='parent_window' direction='in'/>"
    "<arg type='a{sv}' name='options' direction='in'/><arg type='o' name='handle' direction='out'/></method>"
    "<property name='version' type='u' access='read'/></interface>"
    "<interface name='org.freedesktop.portal.Request'><method name='Close'/></interface></node>";

void respond(GDBusConnection* bus, const char* client, const char* handle, std::uint32_t code) {
  GVariant* nothing = g_variant_new_array(G_VARIANT_TYPE("{sv}"), nullptr, 0);
  g_dbus_connection_emit_signal(bus, client, handle, "org.freedesktop.portal.Request", "Response",
                                g_variant_new("(u@a{sv})", code, nothing), nullptr);
}

std::string textIn(GVariant* options, const char* key) {
  const char* text = nullptr;
  return g_variant_lookup(options, key, "&s", &text) ? text : "";
}

}  // namespace

FakePortal::FakePortal(Manners manners)
    : _manners(std::move(manners)), _context(g_main_context_new()), _loop(g_main_loop_new(_context, FALSE)) {
  _thread = std::thread([this] { run(); });
  std::unique_lock lock(_mutex);
  _changed.wait(lock, [this] { return _isUp; });
}

FakePortal::~FakePortal() {
  GSource* quit = g_idle_source_new();
  g_source_set_callback(
      quit,
      [](gpointer loop) -> gboolean {
        g_main_loop_quit(static_cast<GMainLoop*>(loop));
        return G_SOURCE_REMOVE;
      },
      _loop, nullptr);
  g_source_attach(quit, _context);
  g_source_unref(quit);
  _thread.join();
  g_main_loop_unref(_loop);
  g_main_context_unref(_context);
}

std::vector<FakePortal::Mail> FakePortal::mails() const {
  std::lock_guard lock(_mutex);
  return _mails;
}

int FakePortal::closedRequests() const {
  std::lock_guard lock(_mutex);
  return _closed;
}

void FakePortal::run() {
  g_main_context_push_thread_default(_context);
  const auto flags = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                       G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
  GDBusConnection* bus =
      g_dbus_connection_new_for_address_sync(_bus.address().c_str(), flags, nullptr, nullptr, nullptr);
  g_dbus_connection_set_exit_on_close(bus, FALSE);
  GDBusNodeInfo* node = g_dbus_node_info_new_for_xml(interfaces, nullptr);
  _request = node->interfaces[1];
  static const GDBusInterfaceVTable email{&FakePortal::called, &FakePortal::property, nullptr, {}};
  g_dbus_connection_register_object(bus, "/org/freedesktop/portal/desktop", node->interfaces[0], &email, this, nullptr,
                                    nullptr);
  g_variant_unref(g_dbus_connection_call_sync(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                              "org.freedesktop.DBus", "RequestName",
                                              g_variant_new("(su)", "org.freedesktop.portal.Desktop", 0), nullptr,
                                              G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
  {
    std::lock_guard lock(_mutex);
    _isUp = true;
  }
  _changed.notify_all();
  g_main_loop_run(_loop);
  g_dbus_connection_close_sync(bus, nullptr, nullptr);
  g_object_unref(bus);
  g_dbus_node_info_unref(node);
  g_main_context_pop_thread_default(_context);
}

GVariant* FakePortal::property(GDBusConnection*, const char*, const char*, const char*, const char*, GError**,
                               gpointer self) {
  return g_variant_new_uint32(static_cast<FakePortal*>(self)->_manners.version);
}

void FakePortal::called(GDBusConnection* bus, const char* sender, const char*, const char*, const char*,
                        GVariant* parameters, GDBusMethodInvocation* call, gpointer self) {
  static_cast<FakePortal*>(self)->compose(bus, sender, parameters, call);
}

void FakePortal::closeCalled(GDBusConnection*, const char*, const char*, const char*, const char*, GVariant*,
                             GDBusMethodInvocation* call, gpointer self) {
  auto* portal = static_cast<FakePortal*>(self);
  g_dbus_method_invocation_return_value(call, nullptr);
  std::lock_guard lock(portal->_mutex);
  ++portal->_closed;
}

FakePortal::Mail FakePortal::mailFrom(GVariant* options, GDBusMethodInvocation* call) const {
  Mail mail;
  const char** addresses = nullptr;
  if (g_variant_lookup(options, "addresses", "^a&s", &addresses)) {
    for (const char** address = addresses; *address; ++address) mail.addresses.emplace_back(*address);
    g_free(addresses);
  }
  mail.address = textIn(options, "address");
  mail.subject = textIn(options, "subject");
  mail.body = textIn(options, "body");
  GUnixFDList* list = g_dbus_message_get_unix_fd_list(g_dbus_method_invocation_get_message(call));
  GVariantIter* handles = nullptr;
  if (!list || !g_variant_lookup(options, "attachment_fds", "ah", &handles)) return mail;
  gint32 handle = 0;
  while (g_variant_iter_next(handles, "h", &handle)) {
    const int file = g_unix_fd_list_get(list, handle, nullptr);
    // Real portals also get the file's name from the open descriptor.
    const auto path = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(file));
    std::ifstream contents(path, std::ios::binary);
    mail.files.emplace_back(path.filename().string(), std::string(std::istreambuf_iterator<char>(contents), {}));
    ::close(file);
  }
  g_variant_iter_free(handles);
  return mail;
}

void FakePortal::compose(GDBusConnection* bus, const std::string& sender, GVariant* parameters,
                         GDBusMethodInvocation* call) {
  const char* parent = nullptr;
  GVariant* options = nullptr;
  g_variant_get(parameters, "(&s@a{sv})", &parent, &options);
  Mail mail = mailFrom(options, call);
  std::string client = sender.substr(1);
  std::replace(client.begin(), client.end(), '.', '_');
  const std::string token = _manners.ownHandle ? "ofItsOwn" : textIn(options, "handle_token");
  const std::string handle = "/org/freedesktop/portal/desktop/request/" + client + "/" + token;
  g_variant_unref(options);
  {
    std::lock_guard lock(_mutex);
    _mails.push_back(std::move(mail));
  }
  if (_manners.breaksDown) return g_dbus_connection_close_sync(bus, nullptr, nullptr), void();
  if (!_manners.error.empty()) return g_dbus_method_invocation_return_dbus_error(call, _manners.error.c_str(), "No.");
  static const GDBusInterfaceVTable request{&FakePortal::closeCalled, nullptr, nullptr, {}};
  g_dbus_connection_register_object(bus, handle.c_str(), _request, &request, this, nullptr, nullptr);
  if (_manners.ownHandle) {
    g_dbus_method_invocation_return_value(call, g_variant_new("(o)", handle.c_str()));
    return respondRepeatedly(bus, sender, handle);
  }
  // The response arrives before the call returns.
  if (_manners.response) respond(bus, sender.c_str(), handle.c_str(), *_manners.response);
  g_dbus_method_invocation_return_value(call, g_variant_new("(o)", handle.c_str()));
}

/// The caller subscribes only after it has the handle. The portal cannot see when that happens, so it repeats the
/// signal.
void FakePortal::respondRepeatedly(GDBusConnection* bus, const std::string& client, const std::string& handle) {
  auto* answer = new std::function<void()>(
      [bus, client, handle, code = *_manners.response] { respond(bus, client.c_str(), handle.c_str(), code); });
  GSource* later = g_timeout_source_new(50);
  g_source_set_callback(
      later,
      [](gpointer function) -> gboolean {
        (*static_cast<std::function<void()>*>(function))();
        return G_SOURCE_CONTINUE;
      },
      answer, [](gpointer function) { delete static_cast<std::function<void()>*>(function); });
  g_source_attach(later, _context);
  g_source_unref(later);
}

}  // namespace oq::test
