// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace oq::test {

/// A private session bus (DBUS_SESSION_BUS_ADDRESS points to it) with a fake desktop portal: it accepts e-mails, reads
/// their attachments, and responds as configured. It runs on its own thread. The bus ends even if the test crashes.
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
    /// 0: the mail program was opened, 1: the user cancelled, 2: the request ended in another way; nullopt: no
    /// response.
    std::optional<std::uint32_t> response = 0;
    /// If not empty, the call returns the D-Bus error of this name.
    std::string error = {};
    /// If true, the portal's handle for the request is not the one that the caller predicts.
    bool ownHandle = false;
    /// If true, the portal closes its bus connection when it is called.
    bool breaksDown = false;
  };

  explicit FakePortal(Manners manners);
  FakePortal() : FakePortal(Manners{}) {}
  ~FakePortal();

  std::vector<Mail> mails() const;
  /// The number of requests that their senders closed.
  int closedRequests() const;

 private:
  class Impl;
  std::unique_ptr<Impl> _impl;
};

}  // namespace oq::test
