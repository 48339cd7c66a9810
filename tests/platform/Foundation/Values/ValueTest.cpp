// SPDX-License-Identifier: Apache-2.0
#include "oqsdk/Value.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace oq {
namespace {

TEST(Value, HoldsWhatItIsMadeFrom) {
  constexpr auto largest = std::numeric_limits<unsigned long long>::max();
  const std::string text = "tea";
  const Value scalars = Array{
      Value(), nullptr, static_cast<const char*>(nullptr), false,        'a',     -7,          largest, 0.5F, 2.0, 3.0L,
      "tea",   text,    std::string_view("a\0b", 3),       Dictionary(), Array(), std::nan("")};
  EXPECT_EQ(scalars.json(),
            "[null,null,null,false,97,-7,18446744073709551615,0.5,2.0,3.0,\"tea\",\"tea\","
            "\"a\\u0000b\",{},[],null]");
  EXPECT_EQ(Value(Dictionary{{"b", 1}, {"a", Dictionary{{text, Array{1, "x", nullptr}}}}, {"b", 2}}).json(),
            R"({"b":2,"a":{"tea":[1,"x",null]}})");
  const Value braced = {{"outer", {{"inner", true}}}};
  EXPECT_EQ(braced.json(), R"({"outer":{"inner":true}})");
  EXPECT_EQ(Value(Array{Array{1}}).json(), "[[1]]");
  EXPECT_EQ(Value(Array(Array{1})).json(), "[1]");
  EXPECT_EQ(Value(Array{Value(Array{1})}).json(), "[[1]]");
  EXPECT_EQ(Value{Array{1}}.json(), "[1]");
}

TEST(Value, ReadAsAnotherKindReturnsTheDefault) {
  const Value value = Value::parse(R"({"no": false, "n": -2.9, "huge": 1e300, "big": 18446744073709551615, "t": "tea",
                                       "list": [1, {"deep": "x"}], "none": null})");
  EXPECT_EQ(value.keys(), (std::vector<std::string_view>{"no", "n", "huge", "big", "t", "list", "none"}));
  EXPECT_EQ(value.size(), 7u);
  EXPECT_FALSE(value.at("no").toBool(true));
  EXPECT_TRUE(value.at("n").toBool(true)) << "not a boolean";
  EXPECT_EQ(value.at("n").toInteger(), -2);
  EXPECT_EQ(value.at("huge").toInteger(5), 5) << "does not fit";
  EXPECT_EQ(value.at("big").toInteger(5), 5) << "does not fit";
  EXPECT_EQ(value.at("big").toDouble(), 18446744073709551616.0);
  EXPECT_EQ(value.at("t").toDouble(1.5), 1.5);
  EXPECT_EQ(value.at("t").toString(), "tea");
  EXPECT_EQ(value.at("n").toString("else"), "else");
  EXPECT_EQ(value.at("list").at(1).at("deep").toString(), "x");
  EXPECT_TRUE(value.at("list").at(2).isNull() && value.at("missing").at(0).at("x").isNull() && value.at(0).isNull());
  EXPECT_TRUE(value.at("n").isNumber() && value.at("list").isArray() && value.isDictionary() &&
              value.at("no").isBoolean());
  int seen = 0;
  for (const Value& element : value.at("list")) seen += element.isNumber() ? 1 : 10;
  for (const Value& element : value) seen += element.isNull() ? 100 : 100;
  EXPECT_EQ(seen, 11) << "a dictionary and an empty array have no elements to loop over";
}

TEST(Value, CopiesAreIndependentAndAPartCanReplaceTheWhole) {
  Value value = 5;
  value["a"]["b"] = "first";
  value["list"].push_back(1);
  value["list"].push_back(value.at("a"));
  Value copy = value;
  value["a"]["b"] = "second";
  EXPECT_EQ(copy.json(), R"({"a":{"b":"first"},"list":[1,{"b":"first"}]})");
  EXPECT_EQ(value.json(), R"({"a":{"b":"second"},"list":[1,{"b":"first"}]})");
  EXPECT_NE(copy, value);
  EXPECT_TRUE(copy.erase("a") && !copy.erase("a") && !copy["list"].erase("a"));
  Value parts = Dictionary{{"a", "1"}, {"b", 2}, {"c", 3}};
  for (const char* key : {"d", "e", "f", "g", "h"}) parts.set(key, parts.at("a"));
  parts[parts.at("a").toString()] = 4;
  EXPECT_TRUE(parts.erase("a"));
  EXPECT_EQ(parts.json(), R"({"b":2,"c":3,"d":"1","e":"1","f":"1","g":"1","h":"1","1":4})");
  Value moved = std::move(value);
  EXPECT_EQ(moved.at("a").at("b"), "second");
  EXPECT_TRUE(value.isNull());  // NOLINT: a moved-from value is null
  copy = std::move(moved);
  EXPECT_EQ(copy, (Dictionary{{"list", Array{1, Dictionary{{"b", "first"}}}}, {"a", Dictionary{{"b", "second"}}}}));
  const Value& self = copy;
  copy = self;
  copy = copy.at("list");  // a part of itself
  EXPECT_EQ(copy.size(), 2u);
}

TEST(Value, ParsesJSONOrReportsTheError) {
  const auto deep = [](std::size_t levels) { return std::string(levels, '[') + std::string(levels, ']'); };
  std::string error = "old";
  EXPECT_EQ(Value::parse("\xEF\xBB\xBF [1, 2.0, \"é\"] ", &error).json(), "[1,2.0,\"é\"]");
  EXPECT_EQ(error, "");
  EXPECT_EQ(Value::parse(" -0.5e-3 ").toDouble(), -0.0005);
  EXPECT_EQ(Value::parse(deep(512)).json(), deep(512));
  for (const auto& [text, reason] : {std::pair{"", "not JSON at byte 0"},
                                     {"[1, x]", "not JSON at byte 4"},
                                     {"1 2", "not JSON at byte 2"},
                                     {"[1e999]", "a number is out of range"}}) {
    EXPECT_TRUE(Value::parse(text, &error).isNull() && Value::parse(text).isNull()) << text;
    EXPECT_NE(error.find(reason), std::string::npos) << text << ": " << error;
  }
  const std::string refused[] = {"{",
                                 "[1,]",
                                 "{\"a\":}",
                                 "nul",
                                 "[1]x",
                                 "\xef\xbb\xbf",
                                 "{\xef\xbb\xbf}",
                                 "'a'",
                                 std::string("[1]\0", 4),
                                 deep(513),
                                 "NaN",
                                 "{\"a\":{\"b\":-1e999}}",
                                 "\"\xff\"",
                                 "\"\xed\xa0\x80\"",
                                 "\"\\ud800\""};
  for (const std::string& text : refused) {
    EXPECT_TRUE(Value::parse(text, &error).isNull() && !error.empty()) << text.substr(0, 40);
  }
}

}  // namespace
}  // namespace oq
