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

/// A session bus of the test's own, where DBUS_SESSION_BUS_ADDRESS says, and on it a stand-in for the
/// desktop's portal: it takes e-mails, reads what was attached, and answers as it was told. On a thread of
/// its own.
class FakePortal {
 public:
  struct Mail {
    std::vector<std::string> addresses;
    std::string address, subject, body;
    /// What was attached, by file name, in order.
    std::vector<std::pair<std::string, std::string>> files;
  };
  struct Manners {
    std::uint32_t version = 3;
    /// 0: the mail program is up, 1: the user did not want it, 2: something else; nullopt: no word.
    std::optional<std::uint32_t> response = 0;
    /// The name of a D-Bus error in place of all this.
    std::string error = {};
    /// The handle is not the one that the caller can know beforehand.
    bool ownHandle = false;
    /// Goes away with its bus when it is asked.
    bool breaksDown = false;
  };

  explicit FakePortal(Manners manners);
  FakePortal() : FakePortal(Manners{}) {}
  /// Ends the bus, too.
  ~FakePortal();

  std::vector<Mail> mails() const;
  /// How many requests were called off by their senders.
  int closedRequests() const;

 private:
  void run();
  void compose(GDBusConnection* bus, const std::string& sender, GVariant* parameters, GDBusMethodInvocation* call);
  void respondAgainAndAgain(GDBusConnection* bus, const std::string& client, const std::string& handle);
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
