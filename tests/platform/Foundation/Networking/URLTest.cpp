// SPDX-License-Identifier: Apache-2.0
#include "Foundation/Networking/URL.h"

#include <gtest/gtest.h>

namespace oq {
namespace {

TEST(URL, AcceptsOnlyCharactersOfRFC3986) {
  for (const char* good : {"https://localhost:38088/push/sdk/login?a=1&b=%E4%bd%A0#top", "(null)/push", "/a;b@c", "%20",
                           "https://[::1]:8088/", "HTTPS://EXAMPLE.com/~x'!*$,="}) {
    auto url = URL::withString(good);
    ASSERT_TRUE(url) << good;
    EXPECT_EQ(url->absoluteString(), good);
  }
  using namespace std::string_view_literals;
  for (auto bad : {""sv, "a b"sv, "https://h/\xe4\xbd\xa0"sv, "%"sv, "a%2"sv, "%zz"sv, "%2\0"sv, "a\0b"sv, "a\nb"sv,
                   "<a>"sv, "\"q\""sv, "a|b"sv, "{}"sv, "a\\b"sv, "^"sv, "`"sv, "\x7f"sv, "\x80"sv}) {
    EXPECT_FALSE(URL::withString(bad)) << bad;
  }
}

TEST(URL, SchemeIsLowerCaseAndEmptyForRelativeAddress) {
  EXPECT_EQ(URL::withString("HttpS://x")->scheme(), "https");
  EXPECT_EQ(URL::withString("itms-apps+1.x:foo")->scheme(), "itms-apps+1.x");
  for (const char* relative : {"(null)/push", "/a:b", "a/b:c", "1a:b", "?q=http://x", "a", "a%3A:b"}) {
    EXPECT_EQ(URL::withString(relative)->scheme(), "") << relative;
  }
}

}  // namespace
}  // namespace oq
