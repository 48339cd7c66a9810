// SPDX-License-Identifier: Apache-2.0
#include "Requests/OQServerAddress.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include "Foundation/Values/Format.h"
#include "Requests/OQNetwork.h"
#include "support/EngineTest.h"

namespace oq::test {
namespace {

class ServerAddress : public WorldTest {
 protected:
  ServerAddress() {
    setPlatformLogHandler([this](std::string_view line) { warnings.emplace_back(line); });
  }
  ~ServerAddress() override {
    for (std::uint64_t environment : {0, 1, 2}) OQServerAddress::set(environment, "");
    OQServerAddress::allowEnvironmentVariable(false);
    ::unsetenv("OQSDK_SERVER");
  }
  /// Where a request with the path "/p" goes.
  static std::string target() { return OQNetwork().getHttpURLWithRelativeUrl("/p", nullptr).value().absoluteString(); }

  std::vector<std::string> warnings;
};

TEST_F(ServerAddress, IsChosenPerEnvironmentAtRunTime) {
  const std::string productionDefault = target();
  EXPECT_EQ(OQServerAddress::set(OQEnvironmentProduction, "https://push.example.com"), std::nullopt);
  EXPECT_EQ(OQServerAddress::set(OQEnvironmentTest, "HTTPS://[::1]:8443/a/b%20c//"), std::nullopt);
  EXPECT_EQ(target(), "https://push.example.com/p");
  TorvelinOqConfig().setEnvType(OQEnvironmentTest);
  EXPECT_EQ(target(), "HTTPS://[::1]:8443/a/b%20c/p");
  TorvelinOqConfig().setEnvType(OQEnvironmentProduction);
  EXPECT_EQ(OQServerAddress::set(OQEnvironmentProduction, ""), std::nullopt);
  EXPECT_EQ(target(), productionDefault);
  TorvelinOqConfig().setEnvType(3);
  EXPECT_EQ(OQServerAddress::current(), std::nullopt);
}

TEST_F(ServerAddress, UnusableAddressChangesNothing) {
  ASSERT_EQ(OQServerAddress::set(OQEnvironmentProduction, "https://push.example.com:1/x/"), std::nullopt);
  const std::pair<const char*, const char*> cases[] = {
      {"http://a.example", "https"},
      {"a.example", "https"},
      {"https:///path", "host"},
      {"https://:8088", "host"},
      {"https://ann@a.example", "user"},
      {"https://a.example/p?q=1", "query"},
      {"https://a.example#", "fragment"},
      {"https://a.example:0", "valid"},
      {"https://a.example:65536", "valid"},
      {"https://a.example :80", "characters"},
      {"https://a.example\n", "characters"},
      {"https://例子.example", "characters"},
  };
  for (const auto& [url, reason] : cases) {
    EXPECT_NE(OQServerAddress::set(OQEnvironmentProduction, url).value_or("").find(reason), std::string::npos) << url;
    EXPECT_EQ(target(), "https://push.example.com:1/x/p") << url;
  }
  EXPECT_NE(OQServerAddress::set(3, "https://a.example"), std::nullopt);
}

TEST_F(ServerAddress, EnvironmentVariableIsUsedOnlyIfAllowed) {
  OQServerAddress::set(OQEnvironmentTest, "https://push.example.com");
  ::setenv("OQSDK_SERVER", "https://test.example/", 1);
  const std::string before = target();
  OQServerAddress::allowEnvironmentVariable(true);
  for (std::uint64_t environment : {0, 1, 2}) {
    TorvelinOqConfig().setEnvType(environment);
    EXPECT_EQ(target(), "https://test.example/p");
  }
  TorvelinOqConfig().setEnvType(OQEnvironmentProduction);
  OQServerAddress::allowEnvironmentVariable(false);
  EXPECT_EQ(target(), before);
  EXPECT_TRUE(warnings.empty());

  ::setenv("OQSDK_SERVER", "http://test.example", 1);
  OQServerAddress::allowEnvironmentVariable(true);
  for (int request : {1, 2}) EXPECT_EQ(target(), before) << request;
  ASSERT_EQ(warnings.size(), 1u);
  EXPECT_NE(warnings[0].find("OQSDK_SERVER"), std::string::npos) << warnings[0];
  ::unsetenv("OQSDK_SERVER");
  OQServerAddress::allowEnvironmentVariable(true);
  EXPECT_EQ(target(), before);
}

}  // namespace
}  // namespace oq::test
