// SPDX-License-Identifier: Apache-2.0
#include "Certificates.h"

#include <gtest/gtest.h>
#include <openssl/pem.h>

#include "support/ScratchFolder.h"
#include "support/TestCertificates.h"

namespace oq::server {
namespace {

using test::ScratchFolder, test::textOfFile;

TEST(Certificates, AreReplacedOnlyIfHostsChangeOrAFileIsBad) {
  const ScratchFolder folder;
  Certificates first(folder.path() / "tls", {"localhost", "127.0.0.1"});
  first.ensure();
  const auto authority = textOfFile(first.authorityFile()), server = textOfFile(first.certificateFile());
  Certificates(folder.path() / "tls", {"127.0.0.1", "localhost"}).ensure();
  EXPECT_EQ(textOfFile(first.certificateFile()), server);

  Certificates(folder.path() / "tls", {"localhost", "127.0.0.1", "shop.example", "fd00::1"}).ensure();
  const auto forMoreHosts = textOfFile(first.certificateFile());
  EXPECT_NE(forMoreHosts, server);
  EXPECT_EQ(textOfFile(first.authorityFile()), authority);

  folder.write("tls/server.pem", "damaged");
  Certificates(folder.path() / "tls", {"localhost"}).ensure();
  EXPECT_NE(textOfFile(first.certificateFile()), "damaged");
  EXPECT_EQ(textOfFile(first.authorityFile()), authority);

  std::filesystem::remove(first.authorityFile());
  const auto before = textOfFile(first.certificateFile());
  Certificates(folder.path() / "tls", {"localhost"}).ensure();
  EXPECT_NE(textOfFile(first.authorityFile()), authority);
  EXPECT_NE(textOfFile(first.certificateFile()), before);
}

// Makes the certificate expire in this many seconds from now, and signs it again.
void setEnd(const std::filesystem::path& certificateFile, const std::filesystem::path& issuerKeyFile, long seconds) {
  const auto open = [](const std::filesystem::path& file, const char* mode) {
    return std::unique_ptr<FILE, int (*)(FILE*)>(fopen(file.c_str(), mode), fclose);
  };
  const test::CertificatePointer certificate(
      PEM_read_X509(open(certificateFile, "r").get(), nullptr, nullptr, nullptr));
  const test::KeyPointer key(PEM_read_PrivateKey(open(issuerKeyFile, "r").get(), nullptr, nullptr, nullptr));
  X509_gmtime_adj(X509_getm_notAfter(certificate.get()), seconds);
  X509_sign(certificate.get(), key.get(), EVP_sha256());
  PEM_write_X509(open(certificateFile, "w").get(), certificate.get());
}

TEST(Certificates, AreRenewedBeforeTheyExpire) {
  constexpr long day = 24 * 60 * 60;
  const ScratchFolder folder;
  Certificates certificates(folder.path(), {"localhost"});
  certificates.ensure();
  const auto authority = textOfFile(certificates.authorityFile());
  const auto authorityKey = folder.path() / "ca-key.pem";
  for (const auto& [end, renewed] : {std::pair(31 * day, false), {29 * day, true}, {-day, true}}) {
    setEnd(certificates.certificateFile(), authorityKey, end);
    const auto before = textOfFile(certificates.certificateFile());
    certificates.ensure();
    EXPECT_EQ(textOfFile(certificates.certificateFile()) != before, renewed) << end;
  }
  EXPECT_EQ(textOfFile(certificates.authorityFile()), authority);
  setEnd(certificates.authorityFile(), authorityKey, day);
  const auto server = textOfFile(certificates.certificateFile());
  certificates.ensure();
  EXPECT_NE(textOfFile(certificates.authorityFile()), authority);
  EXPECT_NE(textOfFile(certificates.certificateFile()), server);
}

TEST(Certificates, DamagedAuthorityIsNeverReplaced) {
  const ScratchFolder folder;
  Certificates certificates(folder.path(), {"localhost"});
  certificates.ensure();
  folder.write("ca.pem", "damaged");
  EXPECT_THROW(certificates.ensure(), std::runtime_error);
  EXPECT_EQ(textOfFile(certificates.authorityFile()), "damaged");
}

TEST(Certificates, AcceptOnlyValidHostNames) {
  for (const auto* host : {"localhost", "a-b.example", "*.example.com", "10.0.0.1", "::1"}) {
    EXPECT_TRUE(Certificates::isHost(host)) << host;
  }
  for (const auto* host : {"", "a,DNS:b", "a b", "商店.example", "a:80", "https://a", "*", ".a"}) {
    EXPECT_FALSE(Certificates::isHost(host)) << host;
  }
}

}  // namespace
}  // namespace oq::server
