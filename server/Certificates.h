// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <set>
#include <string>

namespace oq::server {

// The server's private certificate authority and its server certificate. Both are PEM files in one folder; only the
// owner can read the keys.
class Certificates {
 public:
  // `hosts` are the names or numeric addresses for which the server certificate is valid; at least one.
  Certificates(std::filesystem::path folder, std::set<std::string> hosts);

  // Creates missing certificates and renews those that expire within 30 days. Also renews the server certificate if it
  // is damaged, if the hosts differ, or if the authority is new. Throws std::runtime_error, naming the file, if a file
  // of the authority cannot be read or parsed, or if a file cannot be written. A damaged authority is not replaced,
  // since clients trust it.
  void ensure();

  std::filesystem::path authorityFile() const { return _folder / "ca.pem"; }
  std::filesystem::path certificateFile() const { return _folder / "server.pem"; }
  std::filesystem::path keyFile() const { return _folder / "server-key.pem"; }

  // True if the string is allowed as a name in a certificate: an address, or letters, digits, '-' and '.' (and a
  // leading "*.").
  static bool isHost(const std::string& text);

 private:
  std::filesystem::path _authorityKeyFile() const { return _folder / "ca-key.pem"; }

  std::filesystem::path _folder;
  std::set<std::string> _hosts;
};

}  // namespace oq::server
