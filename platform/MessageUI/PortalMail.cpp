// SPDX-License-Identifier: Apache-2.0
#include "MessageUI/PortalMail.h"

#include <fcntl.h>
#include <gio/gio.h>
#include <gio/gunixfdlist.h>

#include <algorithm>
#include <atomic>
#include <utility>

#include "Dispatch/DeadlineThread.h"
#include "Dispatch/DispatchQueue.h"
#include "Foundation/Files/FileDescriptor.h"
#include "Foundation/System/GLibReference.h"
#include "Foundation/System/SessionBus.h"
#include "MessageUI/MailThread.h"

namespace oq {
namespace {

constexpr const char* kPortal = "org.freedesktop.portal.Desktop";
constexpr const char* kObject = "/org/freedesktop/portal/desktop";
constexpr const char* kEmail = "org.freedesktop.portal.Email";
constexpr const char* kRequest = "org.freedesktop.portal.Request";
constexpr const char* kRequests = "/org/freedesktop/portal/desktop/request/";
constexpr int kShortWait = 2000;            // milliseconds
constexpr int kComposeWait = 25000;         // milliseconds that the portal may take to accept a mail
constexpr guint32 kTakesManyAddresses = 3;  // the first portal version that accepts several addresses

/// Whether the error means that no e-mail portal is available, so that the call has had no effect.
bool isUnknownThere(const Failure& failure) {
  const std::string name = failure.remoteName();
  for (const char* unknown : {"ServiceUnknown", "NameHasNoOwner", "UnknownObject", "UnknownInterface", "UnknownMethod",
                              "Spawn.ServiceNotFound"}) {
    if (name == std::string("org.freedesktop.DBus.Error.") + unknown) return true;
  }
  return false;
}

constexpr auto kConnectionFlags = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                                    G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);

GVariant* versionQuery() {
  return g_variant_new("(ss)", kEmail, "version");
}

guint32 versionIn(GVariant* answer) {
  GVariant* boxed = nullptr;
  g_variant_get(answer, "(v)", &boxed);
  const VariantRef version(boxed);
  return g_variant_is_of_type(boxed, G_VARIANT_TYPE_UINT32) ? g_variant_get_uint32(boxed) : 0;
}

/// D-Bus accepts only valid UTF-8 without NUL.
GVariant* textVariant(const std::string& text) {
  return g_variant_new_take_string(g_utf8_make_valid(text.c_str(), -1));
}

/// One request to the portal. It is constructed on the main thread, then used on the mail thread, and ends when its
/// owner releases it. A GLib callback that will certainly be called holds the request strongly. A callback that may
/// never be called holds it weakly; otherwise the request might never be destroyed.
class Request : public std::enable_shared_from_this<Request> {
 public:
  Request(const MailMessage& message, const std::vector<std::filesystem::path>& files, MailReport report)
      : _message{message.recipients, message.subject, message.body, {}},
        _report(std::move(report)),
        _cancellable(g_cancellable_new()) {
    for (const auto& file : files) {
      if (_files.size() == PortalMail::mostFiles) break;
      // Portals expect O_PATH descriptors: they look up the file's name and read nothing.
      FileDescriptor open(::open(file.c_str(), O_PATH | O_CLOEXEC));
      if (open) _files.push_back(std::move(open));
    }
  }
  ~Request() { close(); }

  void start() {
    if (_address.empty()) return end(MailOutcome::Unreachable);
    g_dbus_connection_new_for_address(_address.c_str(), kConnectionFlags, nullptr, _cancellable.get(),
                                      &Request::connected, held());
  }

  void cancel() {
    if (_hasEnded) return;
    _hasEnded = true;
    g_cancellable_cancel(_cancellable.get());
    if (_connection && !_handle.empty()) closeRequest();
  }

 private:
  /// Asks the portal to close the request. The connection stays open until this D-Bus call has ended.
  void closeRequest() {
    _isClosing = true;
    g_dbus_connection_call(_connection.get(), kPortal, _handle.c_str(), kRequest, "Close", nullptr, nullptr,
                           G_DBUS_CALL_FLAGS_NONE, kShortWait, nullptr, &Request::closeHeard, held());
  }

  using Self = std::shared_ptr<Request>;
  Self* held() { return new Self(shared_from_this()); }
  static Self taken(gpointer held) {
    const std::unique_ptr<Self> owner(static_cast<Self*>(held));
    return *owner;
  }

  static void closeHeard(GObject* connection, GAsyncResult* result, gpointer data) {
    const Self self = taken(data);
    Failure failure;
    const VariantRef answer(g_dbus_connection_call_finish(G_DBUS_CONNECTION(connection), result, failure.out()));
  }

  static void connected(GObject*, GAsyncResult* result, gpointer data) {
    const Self self = taken(data);
    Failure failure;
    self->_connection.reset(g_dbus_connection_new_for_address_finish(result, failure.out()));
    if (!self->_connection) return self->end(MailOutcome::Unreachable);
    g_dbus_connection_set_exit_on_close(self->_connection.get(), FALSE);
    self->_closed = g_signal_connect_data(
        self->_connection.get(), "closed", G_CALLBACK(+[](GDBusConnection*, gboolean, GError*, gpointer weak) {
          if (const auto request = static_cast<std::weak_ptr<Request>*>(weak)->lock()) request->endUnanswered();
        }),
        new std::weak_ptr<Request>(self->weak_from_this()), &Request::dropWeakOfSignal, G_CONNECT_DEFAULT);
    g_dbus_connection_call(self->_connection.get(), kPortal, kObject, "org.freedesktop.DBus.Properties", "Get",
                           versionQuery(), G_VARIANT_TYPE("(v)"), G_DBUS_CALL_FLAGS_NONE, kShortWait,
                           self->_cancellable.get(), &Request::versionCame, self->held());
  }

  static void versionCame(GObject* connection, GAsyncResult* result, gpointer data) {
    const Self self = taken(data);
    Failure failure;
    const VariantRef answer(g_dbus_connection_call_finish(G_DBUS_CONNECTION(connection), result, failure.out()));
    if (!answer) return self->end(MailOutcome::Unreachable);
    self->askFor(versionIn(answer.get()));
  }

  void askFor(guint32 version) {
    static std::atomic<unsigned> requests{0};
    const std::string token = "oqsdk" + std::to_string(g_random_int()) + "_" + std::to_string(++requests);
    // Subscribes before the call: the response may arrive before the answer to the call.
    listenTo(expectedHandle(token));
    _hasAsked = true;
    const ObjectRef<GUnixFDList> files(g_unix_fd_list_new());
    GVariant* options = optionsFor(token, version, files.get());
    g_dbus_connection_call_with_unix_fd_list(_connection.get(), kPortal, kObject, kEmail, "ComposeEmail",
                                             g_variant_new("(s@a{sv})", "", options), G_VARIANT_TYPE("(o)"),
                                             G_DBUS_CALL_FLAGS_NONE, kComposeWait, files.get(), _cancellable.get(),
                                             &Request::handleCame, held());
  }

  GVariant* optionsFor(const std::string& token, guint32 version, GUnixFDList* files) const {
    GVariantBuilder options;
    g_variant_builder_init(&options, G_VARIANT_TYPE_VARDICT);
    const auto add = [&](const char* key, GVariant* value) { g_variant_builder_add(&options, "{sv}", key, value); };
    add("handle_token", g_variant_new_string(token.c_str()));
    if (version >= kTakesManyAddresses) {
      GVariantBuilder addresses;
      g_variant_builder_init(&addresses, G_VARIANT_TYPE("as"));
      for (const auto& recipient : _message.recipients) g_variant_builder_add_value(&addresses, textVariant(recipient));
      add("addresses", g_variant_builder_end(&addresses));
    } else if (!_message.recipients.empty()) {
      add("address", textVariant(_message.recipients.front()));
    }
    add("subject", textVariant(_message.subject));
    add("body", textVariant(_message.body));
    GVariantBuilder handles;
    g_variant_builder_init(&handles, G_VARIANT_TYPE("ah"));
    for (const auto& file : _files) {
      const int index = g_unix_fd_list_append(files, file.get(), nullptr);
      if (index >= 0) g_variant_builder_add(&handles, "h", index);
    }
    add("attachment_fds", g_variant_builder_end(&handles));
    return g_variant_builder_end(&options);
  }

  std::string expectedHandle(const std::string& token) const {
    std::string name = g_dbus_connection_get_unique_name(_connection.get());
    name.erase(0, 1);
    std::replace(name.begin(), name.end(), '.', '_');
    return kRequests + name + "/" + token;
  }

  void listenTo(const std::string& handle) {
    if (handle == _handle) return;
    stopListening();
    _handle = handle;
    _subscription = g_dbus_connection_signal_subscribe(
        _connection.get(), kPortal, kRequest, "Response", _handle.c_str(), nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
        &Request::responseCame, new std::weak_ptr<Request>(weak_from_this()), &Request::dropWeak);
  }

  static void handleCame(GObject* connection, GAsyncResult* result, gpointer data) {
    const Self self = taken(data);
    Failure failure;
    const VariantRef answer(
        g_dbus_connection_call_with_unix_fd_list_finish(G_DBUS_CONNECTION(connection), nullptr, result, failure.out()));
    if (answer) {
      // Old portals choose the handle themselves, so it may differ from the expected one.
      const char* handle = nullptr;
      g_variant_get(answer.get(), "(&o)", &handle);
      if (!self->_hasEnded) self->listenTo(handle);
    } else if (isUnknownThere(failure)) {
      self->end(MailOutcome::Unreachable);
    } else {
      // The portal may still show the mail, for example after a timeout. So the request is closed, unless cancel() is
      // already closing it.
      if (self->_connection && !self->_isClosing) self->closeRequest();
      self->end(MailOutcome::Failed, Error{MailErrorDomain, failure.code(), failure.message()});
    }
  }

  /// Called when the connection was closed. If the message was not sent to the portal yet, the outcome is Unreachable,
  /// so that xdg-email is tried. Otherwise it is Failed, because the portal may already show the message, and xdg-email
  /// would open a second window.
  void endUnanswered() {
    if (!_hasAsked) return end(MailOutcome::Unreachable);
    end(MailOutcome::Failed, Error{MailErrorDomain, 3, "The mail program's portal has gone."});
  }

  static void responseCame(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*,
                           GVariant* parameters, gpointer data) {
    const Self self = static_cast<std::weak_ptr<Request>*>(data)->lock();
    if (!self || !g_variant_is_of_type(parameters, G_VARIANT_TYPE("(ua{sv})"))) return;
    guint32 code = 0;
    g_variant_get(parameters, "(ua{sv})", &code, nullptr);
    if (code == 0) return self->end(MailOutcome::HandedOver);
    if (code == 1) return self->end(MailOutcome::Cancelled);
    self->end(MailOutcome::Failed, Error{MailErrorDomain, code, "The mail program could not be opened."});
  }

  void end(MailOutcome outcome, std::optional<Error> error = std::nullopt) {
    if (std::exchange(_hasEnded, true)) return;
    deliver(_report, outcome, std::move(error));
    if (!_isClosing) close();
  }

  void stopListening() {
    if (_subscription) g_dbus_connection_signal_unsubscribe(_connection.get(), std::exchange(_subscription, 0));
  }

  void close() {
    if (!_connection) return;
    stopListening();
    if (_closed) g_signal_handler_disconnect(_connection.get(), std::exchange(_closed, 0));
    g_dbus_connection_close(_connection.get(), nullptr, nullptr, nullptr);
    _connection.reset();
  }

  static void dropWeak(gpointer weak) { delete static_cast<std::weak_ptr<Request>*>(weak); }
  static void dropWeakOfSignal(gpointer weak, GClosure*) { dropWeak(weak); }

  const MailMessage _message;
  const MailReport _report;
  const std::string _address = sessionBusAddress();
  std::vector<FileDescriptor> _files;
  const ObjectRef<GCancellable> _cancellable;
  ObjectRef<GDBusConnection> _connection;
  gulong _closed = 0;
  guint _subscription = 0;
  std::string _handle;
  bool _hasEnded = false;
  bool _hasAsked = false;   ///< the message was sent to the portal
  bool _isClosing = false;  ///< "Close" is being sent to the portal; the connection is released after that
};

/// Owns a request for the main thread, and releases it on the mail thread.
class Composition : public MailComposition {
 public:
  Composition(MailThread& thread, std::shared_ptr<Request> request, MailReport report)
      : _thread(thread), _request(std::move(request)), _report(std::move(report)) {
    _thread.async([request = _request] { request->start(); });
  }
  ~Composition() override {
    _thread.async([request = std::move(_request)] {});
  }

  void cancel() override {
    *_report = nullptr;
    _thread.async([request = _request] { request->cancel(); });
  }

 private:
  MailThread& _thread;
  std::shared_ptr<Request> _request;
  const MailReport _report;
};

bool answersOn(const std::string& address, GCancellable* patience) {
  Failure failure;
  const ObjectRef<GDBusConnection> connection(
      g_dbus_connection_new_for_address_sync(address.c_str(), kConnectionFlags, nullptr, patience, failure.out()));
  if (!connection) return false;
  g_dbus_connection_set_exit_on_close(connection.get(), FALSE);
  Failure noAnswer;
  const VariantRef answer(g_dbus_connection_call_sync(
      connection.get(), kPortal, kObject, "org.freedesktop.DBus.Properties", "Get", versionQuery(),
      G_VARIANT_TYPE("(v)"), G_DBUS_CALL_FLAGS_NONE, kShortWait, patience, noAnswer.out()));
  g_dbus_connection_close(connection.get(), nullptr, nullptr, nullptr);
  return answer && versionIn(answer.get()) > 0;
}

}  // namespace

bool PortalMail::isAvailable() {
  const std::string address = sessionBusAddress();
  if (address.empty()) return false;
  // The timeout of the D-Bus call does not include connecting. The cancellable also ends the wait for a bus that
  // accepts the connection and then does not answer.
  const std::shared_ptr<GCancellable> patience(g_cancellable_new(), g_object_unref);
  const auto end = DeadlineThread::shared().callAt(DeadlineThread::after(std::chrono::milliseconds(kShortWait)),
                                                   [patience] { g_cancellable_cancel(patience.get()); });
  const bool answers = answersOn(address, patience.get());
  DeadlineThread::shared().cancel(end);
  return answers;
}

std::shared_ptr<MailComposition> PortalMail::compose(const MailMessage& message,
                                                     const std::vector<std::filesystem::path>& files,
                                                     MailCompletion completion) {
  const auto report = std::make_shared<MailCompletion>(std::move(completion));
  if (MailThread* thread = MailThread::shared())
    return std::make_shared<Composition>(*thread, std::make_shared<Request>(message, files, report), report);
  deliver(report, MailOutcome::Unreachable);
  return nullptr;
}

}  // namespace oq
