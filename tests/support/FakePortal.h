// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "support/ScratchFolder.h"

namespace oq::test {

/// A private session bus (DBUS_SESSION_BUS_ADDRESS points to it) with a fake desktop portal: it accepts e-mails, reads
/// their attachments, and responds as configured. Both are processes that end even if the test crashes.
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

  explicit FakePortal(const Manners& manners);
  FakePortal() : FakePortal(Manners{}) {}
  ~FakePortal();
  FakePortal(const FakePortal&) = delete;
  FakePortal& operator=(const FakePortal&) = delete;

  std::vector<Mail> mails() const;
  /// The number of requests that their senders closed.
  std::size_t closedRequests() const;

 private:
  const ScratchFolder _folder;
  std::FILE* _output = nullptr;
};

}  // namespace oq::test
