// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "support/ScratchFolder.h"

namespace oq::test {

/// A private session bus (DBUS_SESSION_BUS_ADDRESS points to it) with a fake desktop portal: it accepts e-mails, reads
/// their attachments, and responds as configured. The bus and the portal are processes, which end even if the test
/// crashes.
class FakePortal {
 public:
  struct Mail {
    std::vector<std::string> addresses;
    std::string address, subject, body;
    /// The attachments in order: file name and content.
    std::vector<std::pair<std::string, std::string>> files;
  };
  /// `manners` is JSON that configures the behaviour of the portal; fake_portal.py describes its keys.
  explicit FakePortal(const std::string& manners = "{}");
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
