// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <openssl/evp.h>
#include <openssl/ssl.h>
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

  /// Writes PEM files, for servers that read files.
  void write(const std::filesystem::path& certificateFile, const std::filesystem::path& keyFile) const;
};

/// A certificate authority. The shared ones exist until the process ends.
class TestAuthority {
 public:
  explicit TestAuthority(const std::string& name);

  /// The authority that clients trust after a call of trust().
  static TestAuthority& trusted();
  /// An authority that no client trusts.
  static TestAuthority& unknown();

  /// Issues a certificate for alternative names in OpenSSL's form: "DNS:localhost,IP:127.0.0.1". It has expired if
  /// `secondsLeft` is negative.
  Identity issue(const std::string& alternativeNames, long secondsLeft = 24 * 3600) const;
  /// Points SSL_CERT_FILE at this authority's certificate.
  void trust();

 private:
  std::string _name;
  Identity _identity;
  std::optional<ScratchFolder> _folder;
};

}  // namespace oq::test
