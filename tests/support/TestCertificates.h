#pragma once

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "support/ScratchFolder.h"

namespace oq::test {

struct OpenSSLDeleter {
  void operator()(X509* certificate) const { X509_free(certificate); }
  void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};
using CertificatePointer = std::unique_ptr<X509, OpenSSLDeleter>;
using KeyPointer = std::unique_ptr<EVP_PKEY, OpenSSLDeleter>;

struct Identity {
  CertificatePointer certificate;
  KeyPointer key;

  /// As PEM, for a server that reads files.
  void write(const std::filesystem::path& certificateFile, const std::filesystem::path& keyFile) const;
};

/// A certificate authority that lives as long as the process.
class TestAuthority {
 public:
  explicit TestAuthority(const std::string& name);

  /// The one that trust() makes known.
  static TestAuthority& trusted();
  /// One that no client knows.
  static TestAuthority& unknown();

  /// For alternative names as OpenSSL writes them: "DNS:localhost,IP:127.0.0.1".
  Identity issue(const std::string& alternativeNames) const;
  /// The same, but out of date since an hour.
  Identity issueExpired(const std::string& alternativeNames) const;
  /// By itself and by nobody else.
  static Identity selfSigned(const std::string& alternativeNames);
  /// Points SSL_CERT_FILE at this authority's certificate.
  void trust();

 private:
  std::string _name;
  Identity _identity;
  std::optional<ScratchFolder> _folder;
};

}  // namespace oq::test
