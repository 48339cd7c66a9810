// SPDX-License-Identifier: Apache-2.0
#include "Foundation/Values/Base64.h"

#include <gtest/gtest.h>

using namespace oq;

TEST(Base64, DecodesOnlyWellFormedInput) {
  auto decoded = [](std::string_view text) -> std::optional<std::string> {
    auto data = dataWithBase64(text);
    return data ? std::optional(stringFromData(*data)) : std::nullopt;
  };
  EXPECT_EQ(decoded("aGVsbG8="), "hello");
  EXPECT_EQ(decoded(" aG Vs\n-bG8_=\r\n"), "hello");
  EXPECT_EQ(decoded("+/+/"), "\xfb\xff\xbf");
  EXPECT_EQ(decoded(""), "");
  for (const char* text : {"a", "aGVsbG8", "aGVsbG8==", "aG==Vs", "=aGV", "====", "aGVsb==="}) {
    EXPECT_FALSE(decoded(text)) << text;
  }
  Data bytes;
  for (int i = 0; i < 256; ++i) {
    bytes.push_back(static_cast<std::uint8_t>(i));
    EXPECT_EQ(dataWithBase64(base64EncodedString(bytes)), bytes);
  }
  EXPECT_EQ(base64EncodedString(bytes).find('\n'), std::string::npos);
}
