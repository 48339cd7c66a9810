// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gio/gio.h>

#include <string>

#include "support/ScratchFolder.h"

namespace oq::test {

/// A private message bus. DBUS_SESSION_BUS_ADDRESS points to it during this object's lifetime. It starts no services,
/// and ends even if the test crashes.
class PrivateBus {
 public:
  PrivateBus();
  ~PrivateBus();
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;

  const std::string& address() const { return _address; }
  /// Stops the bus while clients are connected.
  void stop();

 private:
  ScratchFolder _folder;
  GSubprocess* _daemon = nullptr;
  std::string _address;
};

}  // namespace oq::test
