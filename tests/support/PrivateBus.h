#pragma once

#include <gio/gio.h>

#include <string>

#include "support/ScratchFolder.h"

namespace oq::test {

/// A message bus of the test's own, where DBUS_SESSION_BUS_ADDRESS says while this lives. It starts no services,
/// and goes even when the test dies.
class PrivateBus {
 public:
  PrivateBus();
  ~PrivateBus();
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;

  const std::string& address() const { return _address; }
  /// Takes the bus from under those who are connected.
  void stop();

 private:
  ScratchFolder _folder;
  GSubprocess* _daemon = nullptr;
  std::string _address;
};

}  // namespace oq::test
