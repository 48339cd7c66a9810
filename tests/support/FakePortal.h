// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gio/gio.h>

#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "support/PrivateBus.h"

namespace oq::test {

/// A private session bus (DBUS_SESSION_BUS_ADDRESS points to it) with a fake desktop portal: it accepts e-mails, reads
/// their attachments, and responds as configured. It runs on its own thread.
class FakePortal {
 public:
  struct Mail {
    std::vector<std::string> addresses;
    std::string address, subject, body;
    /// The attachments in order: file name and content.
    std::vector<std::pair<std::string, std::string>> files;
  };
  struct Manners {
    std::uint32_t version = 3;
    /// 0: the mail program was opened, 1: the user cancelled, 2: another end; nullopt: no response.
    std::optional<std::uint32_t> response = 0;
    /// If not empty, the call returns the D-Bus error of this name.
    std::string error = {};
    /// The request's handle is not the one that the caller can predict.
    bool ownHandle = false;
    /// Closes its bus connection when it is called.
    bool breaksDown = false;
  };

  explicit FakePortal(Manners manners);
  FakePortal() : FakePortal(Manners{}) {}
  /// Also stops the bus.
  ~FakePortal();

  std::vector<Mail> mails() const;
  /// The number of requests that their senders closed.
  int closedRequests() const;

 private:
  void run();
  void compose(GDBusConnection* bus, const std::string& sender, GVariant* parameters, GDBusMethodInvocation* call);
  void respondRepeatedly(GDBusConnection* bus, const std::string& client, const std::string& handle);
  Mail mailFrom(GVariant* options, GDBusMethodInvocation* call) const;
  static void called(GDBusConnection*, const char*, const char*, const char*, const char*, GVariant*,
                     GDBusMethodInvocation*, gpointer);
  static void closeCalled(GDBusConnection*, const char*, const char*, const char*, const char*, GVariant*,
                          GDBusMethodInvocation*, gpointer);
  static GVariant* property(GDBusConnection*, const char*, const char*, const char*, const char*, GError**, gpointer);

  const Manners _manners;
  PrivateBus _bus;
  GMainContext* _context;
  GMainLoop* _loop;
  GDBusInterfaceInfo* _request = nullptr;
  mutable std::mutex _mutex;
  std::condition_variable _changed;
  bool _isUp = false;
  std::vector<Mail> _mails;
  int _closed = 0;
  std::thread _thread;
};

}  // namespace oq::test
