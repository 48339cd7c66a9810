// SPDX-License-Identifier: Apache-2.0
#include "Foundation/PropertyLists/BinaryPropertyList.h"

#include <gtest/gtest.h>

#include "Judges.h"

using namespace oq;
using namespace oq::plist;
using namespace oq::test;

namespace {

/// A list of the given object bytes in sequence, with one-byte offsets and references.
Data raw(const std::vector<std::string>& objects) {
  std::string text = "bplist00", offsets;
  for (const auto& object : objects) {
    offsets.push_back(static_cast<char>(text.size()));
    text += object;
  }
  std::string trailer(32, '\0');
  trailer[6] = trailer[7] = 1;
  trailer[15] = static_cast<char>(objects.size());
  trailer[31] = static_cast<char>(text.size());
  return dataFromString(text + offsets + trailer);
}

std::string bytes(std::initializer_list<int> values) {
  std::string text;
  for (int value : values) text.push_back(static_cast<char>(value));
  return text;
}

}  // namespace

TEST(BinaryPropertyList, ExchangesEveryKindOfNodeWithOtherTools) {
  const std::string list =
      "[True, False, 0, 255, 256, 65536, 2**32, 2**63 - 1, 2**63, -1, -2**63, 0.1, b'xy', bytes([9] * 300), '', "
      "'plain', 'a' * 20, 'a' * 70000, 'é😀', UID(5), UID(300), UID(70000), {'größe': ['v']}, "
      "datetime.datetime(1970, 1, 2), datetime.datetime(2001, 1, 1)]";
  EXPECT_EQ(isReadByPython(list, write(read(plistFromPython(list)).value())), "True\n");
}

TEST(BinaryPropertyList, ReplacesInvalidUTF8) {
  auto table = read(write(listOf({std::string("a\xff\xe2\x82z"), std::string("\0é", 3)})));
  ASSERT_TRUE(table);
  EXPECT_EQ(std::get<std::string>(table->nodes[0]).substr(0, 4), "a\xef\xbf\xbd");
  EXPECT_EQ(std::get<std::string>(table->nodes[0]).back(), 'z');
  EXPECT_EQ(std::get<std::string>(table->nodes[1]), std::string("\0é", 3));
}

TEST(BinaryPropertyList, RejectsMalformedFiles) {
  ASSERT_TRUE(read(raw({bytes({0xA1, 1}), bytes({0x09})})));
  struct Case {
    const char* what;
    std::vector<std::string> objects;
  };
  const Case cases[] = {
      {"reference past the end", {bytes({0xA1, 2}), bytes({0x09})}},
      {"array longer than the file", {bytes({0xAF, 0x10, 200}), bytes({0x09})}},
      {"count of 2^63", {bytes({0xDF, 0x13, 128, 0, 0, 0, 0, 0, 0, 0})}},
      {"count without an integer", {bytes({0x5F})}},
      {"string longer than the file", {bytes({0x5E, 'a'})}},
      {"high byte in ASCII", {bytes({0x51, 0xE9})}},
      {"half of a pair", {bytes({0x61, 0xD8, 0x00})}},
      {"pair in the wrong order", {bytes({0x62, 0xDC, 0x00, 0xD8, 0x00})}},
      {"torn integer", {bytes({0x13, 1, 2})}},
      {"integer of 32 bytes", {bytes({0x15}) + std::string(32, 1)}},
      {"integer beyond 64 bits", {bytes({0x14}) + std::string(16, 1)}},
      {"real of 2 bytes", {bytes({0x21, 0, 0})}},
      {"unknown marker", {bytes({0x70})}},
      {"unknown simple value", {bytes({0x0A})}},
      {"date of another kind", {bytes({0x32}) + std::string(8, 0)}},
      {"UID of 16 bytes", {bytes({0x8F}) + std::string(16, 0)}},
      {"key that is not a string", {bytes({0xD1, 1, 1}), bytes({0x09})}},
  };
  for (const auto& c : cases) EXPECT_FALSE(read(raw(c.objects))) << c.what;
}

TEST(BinaryPropertyList, RejectsManyReferencesToOneLongObject) {
  // 20,000 offsets of the same array of 20,000 references would expand to 1.6 GB.
  std::string text = "bplist00" + bytes({0xAF, 0x11, 20000 >> 8, 20000 & 255}) + std::string(40000, '\0');
  std::size_t tableOffset = text.size();
  for (int i = 0; i < 20000; ++i) text.push_back(8);
  std::string trailer(32, '\0');
  trailer[6] = 1;
  trailer[7] = 2;
  trailer[14] = static_cast<char>(20000 >> 8);
  trailer[15] = static_cast<char>(20000 & 255);
  trailer[30] = static_cast<char>(tableOffset >> 8);
  trailer[31] = static_cast<char>(tableOffset & 255);
  EXPECT_FALSE(read(dataFromString(text + trailer)));
}
