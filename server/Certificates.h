#pragma once

#include <filesystem>
#include <set>
#include <string>

namespace oq::server {

// The private certificate authority of this server, and the certificate that the server shows. Both are kept
// as PEM files in one folder, the keys readable by their owner alone.
class Certificates {
 public:
  // `hosts` are names or numeric addresses for which the server certificate is valid; at least one.
  Certificates(std::filesystem::path folder, std::set<std::string> hosts);

  // Makes what is missing and renews what ends within 30 days. The server certificate is renewed also when
  // the hosts differ or the authority is new. Throws std::runtime_error that names the file when one cannot
  // be read, written or understood: an authority that clients trust is never replaced because of a damaged
  // file.
  void ensure();

  std::filesystem::path authorityFile() const { return _folder / "ca.pem"; }
  std::filesystem::path certificateFile() const { return _folder / "server.pem"; }
  std::filesystem::path keyFile() const { return _folder / "server-key.pem"; }

  // Whether the text can stand in a certificate: an address, or letters, digits, '-' and '.' (and a leading
  // "*.").
  static bool isHost(const std::string& text);

 private:
  std::filesystem::path _authorityKeyFile() const { return _folder / "ca-key.pem"; }

  std::filesystem::path _folder;
  std::set<std::string> _hosts;
};

}  // namespace oq::server
