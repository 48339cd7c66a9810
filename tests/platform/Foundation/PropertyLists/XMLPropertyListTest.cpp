// SPDX-License-Identifier: Apache-2.0
#include "Foundation/PropertyLists/XMLPropertyList.h"

#include <gtest/gtest.h>

#include <limits>

#include "Foundation/PropertyLists/PropertyListSerialization.h"
#include "Judges.h"

using namespace oq;
using namespace oq::plist;
using namespace oq::test;

namespace {

std::string document(const std::string& content) {
  return "<?xml version=\"1.0\"?><plist version=\"1.0\">" + content + "</plist>";
}

std::optional<Table> readText(const std::string& text) {
  return readXML(dataFromString(text));
}

/// Arrays nested in arrays; the innermost one is empty.
JSONValue nested(int levels) {
  JSONValue value = JSONArray{};
  for (int i = 1; i < levels; ++i) value = JSONArray{std::move(value)};
  return value;
}

}  // namespace

TEST(XMLPropertyList, OtherToolsReadEveryKindOfNode) {
  Table table = listOf({true, std::int64_t{-5}, std::numeric_limits<std::int64_t>::min(), std::uint64_t{1} << 63,
                        RealNode{0.1}, RealNode{5}, RealNode{1e300}, dateFromSecondsSince1970(-1.5), Data{},
                        Data{0, 255}, std::string("<é&😀>\r\n\t \"'"), std::string()});
  auto xml = writeXML(table);
  ASSERT_TRUE(xml);
  EXPECT_EQ(python("print(plistlib.load(open(path, 'rb'), fmt=plistlib.FMT_XML))", *xml),
            "[True, -5, -9223372036854775808, 9223372036854775808, 0.1, 5.0, 1e+300, "
            "datetime.datetime(1969, 12, 31, 23, 59, 58), b'', b'\\x00\\xff', '<é&😀>\\r\\n\\t \"\\'', '']\n");
}

TEST(XMLPropertyList, ReadsFilesOfOtherTools) {
  const std::string list =
      "{'b': [True, False, -5, 2**63 - 1, 2**63, 0.1, float('inf')], '<k&é>': {'': ''}, 's': ' a\\n<b>&amp; ', "
      "'d': datetime.datetime(2024, 2, 29, 23, 59, 58), 'x': bytes(range(256))}";
  EXPECT_EQ(isReadByPython(list, writeXML(readXML(plistFromPython(list, "XML")).value()).value()), "True\n");
}

TEST(XMLPropertyList, RejectsInvalidPropertyLists) {
  ASSERT_TRUE(readText(document("<string/>")));
  ASSERT_TRUE(readText(document("<!-- kept out --><string>a<!-- b -->c<![CDATA[<]]>&#13;&gt;</string>")));
  const std::string whole = document("<dict><key>k</key><integer>7</integer></dict>");
  for (std::size_t size = 0; size < whole.size(); ++size) EXPECT_FALSE(readText(whole.substr(0, size))) << size;
  const char* contents[] = {
      // not one object
      "", "text", "<string/><string/>", "<key>k</key>", "<other/>", "<plist><true/></plist>", "<true>1</true>",
      "<?other thing?><true/>",
      // dictionaries and arrays
      "<dict><key>k</key></dict>", "<dict><string>k</string></dict>", "<dict><key>k</key><key>l</key><true/></dict>",
      "<dict><key>k</key><true/><key>k</key><true/></dict>", "<dict>text</dict>", "<array>text</array>",
      "<array><key>k</key></array>",
      // strings
      "<string a=\"b\"/>", "<string><true/></string>", "<string>&foreign;</string>", "<string>&#0;</string>",
      "<string>&#1;</string>", "<string>\xff</string>",
      // numbers
      "<integer/>", "<integer>0x10</integer>", "<integer>+-1</integer>", "<integer> 1</integer>",
      "<integer>1.5</integer>", "<integer>18446744073709551616</integer>", "<integer>-9223372036854775809</integer>",
      "<real/>", "<real>1e999</real>", "<real>1,5</real>",
      // dates and bytes
      "<date>2024-02-30T00:00:00Z</date>", "<date>2024-02-03T24:00:00Z</date>", "<date>2024-02-03T00:00:00</date>",
      "<date>2024-02-03</date>", "<data>a</data>", "<data>****</data>", "<data>AA=A</data>", "<data>aGVsbG8</data>",
      "<data>aGVsbG8==</data>", "<data>aG==Vs</data>", "<data>====</data>", "<data>aGVsb===</data>"};
  for (const char* content : contents) EXPECT_FALSE(readText(document(content))) << content;
  for (const std::string& text :
       {std::string("<true/>"), document("<true/>") + document("<true/>"), document("<true/>") + "x",
        std::string("<plist version=\"2.0\"><true/></plist>"), std::string("<plist other=\"1.0\"><true/></plist>"),
        "<!DOCTYPE plist [<!ENTITY e \"v\">]>" + document("<string>e</string>"),
        document(std::string("<string>\0</string>", 18))}) {
    EXPECT_FALSE(readText(text)) << text;
  }
}

TEST(PropertyListSerialization, ReportsErrorsAndLimitsTheDepth) {
  const auto deepest = PropertyListSerialization::dataWithPropertyList(nested(513), PropertyListFormat::XML);
  ASSERT_TRUE(deepest);
  EXPECT_TRUE(PropertyListSerialization::propertyListWithData(*deepest) == PropertyValue(nested(513)));
  for (const JSONValue& value :
       {JSONValue(), JSONValue(JSONArray{nullptr}), JSONValue(JSONDictionary{{"k", "\x02"}}), nested(514)}) {
    Error error;
    EXPECT_FALSE(PropertyListSerialization::dataWithPropertyList(value, PropertyListFormat::XML, &error));
    EXPECT_EQ(error.domain, "NSCocoaErrorDomain");
    EXPECT_NE(error.localizedDescription, "");
  }
  std::string deep;
  for (int i = 0; i < 100000; ++i) deep += "<array>";
  for (const std::string& text : {std::string("bplist00"), document("<array><data></data></array>"), document(deep)}) {
    Error error;
    EXPECT_TRUE(PropertyListSerialization::propertyListWithData(dataFromString(text), nullptr, &error) ==
                PropertyValue(JSONValue()));
    EXPECT_EQ(error.code, PropertyListReadCorruptError);
  }
}
