// SPDX-License-Identifier: Apache-2.0
#include "support/TestCertificates.h"

#include <openssl/pem.h>
#include <openssl/x509v3.h>
#include <stdlib.h>

#include <atomic>
#include <cstdio>
#include <stdexcept>

namespace oq::test {

namespace {

void addExtension(X509* certificate, X509* issuer, int kind, const std::string& value) {
  X509V3_CTX context;
  X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
  X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, kind, value.c_str());
  if (!extension) throw std::runtime_error("no certificate extension " + value);
  X509_add_ext(certificate, extension, -1);
  X509_EXTENSION_free(extension);
}

/// Creates a certificate that is signed by the issuer, or self-signed if there is no issuer.
Identity makeIdentity(const std::string& commonName, const Identity* issuer, const std::string& names,
                      long secondsLeft = 24 * 3600) {
  static std::atomic<long> serialNumber{1};
  Identity made{CertificatePointer(X509_new()), KeyPointer(EVP_EC_gen("P-256"))};
  const Identity& signer = issuer ? *issuer : made;
  X509* certificate = made.certificate.get();
  X509_set_version(certificate, 2);
  ASN1_INTEGER_set(X509_get_serialNumber(certificate), serialNumber++);
  X509_gmtime_adj(X509_getm_notBefore(certificate), -24 * 3600);
  X509_gmtime_adj(X509_getm_notAfter(certificate), secondsLeft);
  X509_set_pubkey(certificate, made.key.get());
  auto text = reinterpret_cast<const unsigned char*>(commonName.c_str());
  X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate), "CN", MBSTRING_UTF8, text, -1, -1, 0);
  X509* signing = signer.certificate.get();
  X509_set_issuer_name(certificate, X509_get_subject_name(signing));
  addExtension(certificate, signing, NID_basic_constraints, issuer ? "CA:FALSE" : "critical,CA:TRUE");
  if (!names.empty()) addExtension(certificate, signing, NID_subject_alt_name, names);
  if (!X509_sign(certificate, signer.key.get(), EVP_sha256()))
    throw std::runtime_error("could not sign a test certificate");
  return made;
}

using File = std::unique_ptr<FILE, int (*)(FILE*)>;

File openForWriting(const std::filesystem::path& path) {
  File file(fopen(path.c_str(), "w"), fclose);
  if (!file) throw std::runtime_error("cannot write " + path.string());
  return file;
}

}  // namespace

void Identity::write(const std::filesystem::path& certificateFile, const std::filesystem::path& keyFile) const {
  PEM_write_X509(openForWriting(certificateFile).get(), certificate.get());
  PEM_write_PrivateKey(openForWriting(keyFile).get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr);
}

TestAuthority::TestAuthority(const std::string& name) : _name(name), _identity(makeIdentity(name, nullptr, "")) {}

TestAuthority& TestAuthority::trusted() {
  static TestAuthority authority("Test authority");
  return authority;
}

TestAuthority& TestAuthority::unknown() {
  static TestAuthority authority("Unknown authority");
  return authority;
}

Identity TestAuthority::issue(const std::string& alternativeNames, long secondsLeft) const {
  return makeIdentity("server of " + _name, &_identity, alternativeNames, secondsLeft);
}

void TestAuthority::trust() {
  if (_folder) return;
  _folder.emplace();
  const auto path = *_folder / "authority.pem";
  PEM_write_X509(openForWriting(path).get(), _identity.certificate.get());
  setenv("SSL_CERT_FILE", path.c_str(), 1);
}

}  // namespace oq::test
