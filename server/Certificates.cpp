// SPDX-License-Identifier: Apache-2.0
#include "Certificates.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace oq::server {

namespace fs = std::filesystem;

namespace {

template <auto Free>
struct FreeWith {
  template <typename T>
  void operator()(T* object) const {
    Free(object);
  }
};
using Key = std::unique_ptr<EVP_PKEY, FreeWith<EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, FreeWith<X509_free>>;
using Bytes = std::unique_ptr<BIO, FreeWith<BIO_free>>;
using Extension = std::unique_ptr<X509_EXTENSION, FreeWith<X509_EXTENSION_free>>;

struct Identity {
  Certificate certificate;
  Key key;
};

constexpr long secondsPerDay = 24 * 60 * 60;
constexpr long renewBefore = 30 * secondsPerDay;
constexpr long authorityLife = 3653 * secondsPerDay;
constexpr long serverLife = 365 * secondsPerDay;
constexpr long clockTolerance = 60 * 60;

[[noreturn]] void failAt(const fs::path& file, const std::string& problem) {
  throw std::runtime_error(file.string() + ": " + problem);
}

void require(bool done) {
  if (!done) throw std::runtime_error("OpenSSL could not make a certificate");
}

bool isAddress(const std::string& text) {
  unsigned char bytes[sizeof(in6_addr)];
  return inet_pton(AF_INET, text.c_str(), bytes) == 1 || inet_pton(AF_INET6, text.c_str(), bytes) == 1;
}

std::string subjectNames(const std::set<std::string>& hosts) {
  std::string names;
  for (const auto& host : hosts) {
    if (!names.empty()) names += ',';
    names += isAddress(host) ? "IP:" : "DNS:";
    names += host;
  }
  return names;
}

// Writes a new file next to the old one and renames it, so that no reader sees half a file.
void writeFile(const fs::path& file, BIO* content, mode_t mode) {
  const auto temporary = fs::path(file.string() + ".new");
  const int descriptor = open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode);
  if (descriptor < 0) failAt(temporary, std::strerror(errno));
  char* text = nullptr;
  const auto length = BIO_get_mem_data(content, &text);
  const bool written = fchmod(descriptor, mode) == 0 &&
                       write(descriptor, text, static_cast<size_t>(length)) == length && fsync(descriptor) == 0;
  const int error = errno;
  close(descriptor);
  if (!written) failAt(temporary, std::strerror(error));
  if (rename(temporary.c_str(), file.c_str()) != 0) failAt(file, std::strerror(errno));
}

void save(const Identity& identity, const fs::path& certificateFile, const fs::path& keyFile) {
  const Bytes key(BIO_new(BIO_s_mem())), certificate(BIO_new(BIO_s_mem()));
  require(PEM_write_bio_PrivateKey(key.get(), identity.key.get(), nullptr, nullptr, 0, nullptr, nullptr));
  require(PEM_write_bio_X509(certificate.get(), identity.certificate.get()));
  writeFile(keyFile, key.get(), 0600);
  writeFile(certificateFile, certificate.get(), 0644);
}

Bytes openFile(const fs::path& file) {
  Bytes bytes(BIO_new_file(file.c_str(), "r"));
  if (!bytes) failAt(file, std::strerror(errno));
  return bytes;
}

// Throws if a file cannot be read or is damaged, or if the key does not belong to the certificate.
Identity load(const fs::path& certificateFile, const fs::path& keyFile) {
  Identity identity;
  identity.certificate.reset(PEM_read_bio_X509(openFile(certificateFile).get(), nullptr, nullptr, nullptr));
  if (!identity.certificate) failAt(certificateFile, "not a certificate");
  char noPassword[] = "";
  identity.key.reset(PEM_read_bio_PrivateKey(openFile(keyFile).get(), nullptr, nullptr, noPassword));
  if (!identity.key) failAt(keyFile, "not a private key without password");
  if (X509_check_private_key(identity.certificate.get(), identity.key.get()) != 1) {
    failAt(keyFile, "does not belong to " + certificateFile.string());
  }
  return identity;
}

bool endsSoon(const Certificate& certificate) {
  std::time_t deadline = std::time(nullptr) + renewBefore;
  return X509_cmp_time(X509_get0_notAfter(certificate.get()), &deadline) <= 0;
}

void addExtension(X509* certificate, X509* issuer, int kind, const std::string& value) {
  X509V3_CTX context;
  X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
  const Extension extension(X509V3_EXT_conf_nid(nullptr, &context, kind, value.c_str()));
  require(extension && X509_add_ext(certificate, extension.get(), -1) == 1);
}

void setSerialNumber(X509* certificate) {
  unsigned char bytes[16];
  require(RAND_bytes(bytes, sizeof bytes) == 1);
  bytes[0] = (bytes[0] & 0x7f) | 0x40;  // so the number is positive and its first byte is not zero
  const std::unique_ptr<BIGNUM, FreeWith<BN_free>> number(BN_bin2bn(bytes, sizeof bytes, nullptr));
  require(number && BN_to_ASN1_INTEGER(number.get(), X509_get_serialNumber(certificate)));
}

// Creates a P-256 key and a certificate for it that is valid from now on. The certificate has no issuer, extensions or
// signature yet.
Identity draft(const std::string& commonName, long life) {
  Identity identity{Certificate(X509_new()), Key(EVP_EC_gen("P-256"))};
  auto* certificate = identity.certificate.get();
  require(certificate && identity.key && X509_set_version(certificate, X509_VERSION_3) == 1);
  setSerialNumber(certificate);
  require(X509_gmtime_adj(X509_getm_notBefore(certificate), -clockTolerance) &&
          X509_gmtime_adj(X509_getm_notAfter(certificate), life));
  require(X509_set_pubkey(certificate, identity.key.get()) == 1);
  const auto* text = reinterpret_cast<const unsigned char*>(commonName.c_str());
  require(X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate), "CN", MBSTRING_UTF8, text, -1, -1, 0));
  return identity;
}

void sign(const Identity& identity, X509* issuer, EVP_PKEY* issuerKey) {
  require(X509_set_issuer_name(identity.certificate.get(), X509_get_subject_name(issuer)) == 1);
  require(X509_sign(identity.certificate.get(), issuerKey, EVP_sha256()) > 0);
}

Identity makeAuthority() {
  auto identity = draft("oqsdk-server private authority", authorityLife);
  auto* certificate = identity.certificate.get();
  addExtension(certificate, certificate, NID_basic_constraints, "critical,CA:TRUE,pathlen:0");
  addExtension(certificate, certificate, NID_key_usage, "critical,keyCertSign,cRLSign");
  addExtension(certificate, certificate, NID_subject_key_identifier, "hash");
  sign(identity, certificate, identity.key.get());
  return identity;
}

Identity makeServer(const Identity& authority, const std::set<std::string>& hosts) {
  auto identity = draft("oqsdk-server", serverLife);
  auto* certificate = identity.certificate.get();
  auto* issuer = authority.certificate.get();
  addExtension(certificate, issuer, NID_basic_constraints, "critical,CA:FALSE");
  addExtension(certificate, issuer, NID_key_usage, "critical,digitalSignature");
  addExtension(certificate, issuer, NID_ext_key_usage, "serverAuth");
  addExtension(certificate, issuer, NID_subject_alt_name, subjectNames(hosts));
  addExtension(certificate, issuer, NID_subject_key_identifier, "hash");
  addExtension(certificate, issuer, NID_authority_key_identifier, "keyid");
  sign(identity, issuer, authority.key.get());
  return identity;
}

// Whether the certificate is valid for exactly these hosts. Compares the encoded names, so that different spellings of
// an address are equal.
bool isFor(const Certificate& certificate, const std::set<std::string>& hosts) {
  const int at = X509_get_ext_by_NID(certificate.get(), NID_subject_alt_name, -1);
  const Extension wanted(X509V3_EXT_conf_nid(nullptr, nullptr, NID_subject_alt_name, subjectNames(hosts).c_str()));
  if (at < 0 || !wanted) return false;
  const auto* found = X509_EXTENSION_get_data(X509_get_ext(certificate.get(), at));
  return ASN1_OCTET_STRING_cmp(found, X509_EXTENSION_get_data(wanted.get())) == 0;
}

}  // namespace

Certificates::Certificates(fs::path folder, std::set<std::string> hosts)
    : _folder(std::move(folder)), _hosts(std::move(hosts)) {}

bool Certificates::isHost(const std::string& text) {
  if (isAddress(text)) return true;
  constexpr std::string_view allowed = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-.";
  const std::string_view name = text.starts_with("*.") ? std::string_view(text).substr(2) : text;
  return !name.empty() && name.size() <= 253 && name.front() != '.' && name.find_first_not_of(allowed) == name.npos;
}

void Certificates::ensure() {
  fs::create_directories(_folder);
  Identity authority;
  if (fs::exists(authorityFile())) authority = load(authorityFile(), _authorityKeyFile());
  if (!authority.certificate || endsSoon(authority.certificate)) {
    authority = makeAuthority();
    save(authority, authorityFile(), _authorityKeyFile());
  }
  if (fs::exists(certificateFile()) && fs::exists(keyFile())) try {
      const auto server = load(certificateFile(), keyFile());
      const bool ours = X509_verify(server.certificate.get(), authority.key.get()) == 1;
      if (ours && !endsSoon(server.certificate) && isFor(server.certificate, _hosts)) return;
    } catch (const std::runtime_error&) {
      // Clients trust the authority, not this certificate, so a damaged one can be replaced.
    }
  save(makeServer(authority, _hosts), certificateFile(), keyFile());
}

}  // namespace oq::server
