// SPDX-License-Identifier: Apache-2.0
#include "Foundation/Values/Format.h"

#include <gmock/gmock.h>
#include <stdlib.h>

#include <cmath>
#include <limits>

#include "Foundation/Values/JSONSerialization.h"
#include "Foundation/Values/Number.h"

using namespace oq;

static JSONValue jsonFrom(const char* text) {
  return valueWithJSONData(dataFromString(text)).value();
}

TEST(Format, FormatsEachKindOfObject) {
  const std::pair<const char*, const char*> cases[] = {
      {"null", "(null)"}, {"true", "1"},    {"false", "0"}, {"-7", "-7"},       {"\"a\"", "a"}, {"3.0", "3"},
      {"0.1", "0.1"},     {"-2.5", "-2.5"}, {"[]", "[]"},   {"\"\\\"\"", "\""}, {"{}", "{}"},
  };
  for (const auto& [json, text] : cases) EXPECT_EQ(stringWithFormat("%@", jsonFrom(json)), text);
  EXPECT_EQ(stringWithFormat("%@ %@", 1e21, 1700000000123.0), "1000000000000000000000 1700000000123");
  EXPECT_EQ(stringWithFormat("%@", std::uint64_t{18446744073709551615u}), "18446744073709551615");
  EXPECT_EQ(stringWithFormat("%@", jsonFrom(R"({"b": 1, "a": [null, "x"]})")),
            "{\n  \"b\" : 1,\n  \"a\" : [\n    null,\n    \"x\"\n  ]\n}");
}

TEST(Format, ReplacesPlaceholdersInOrderAndNeverScansArguments) {
  EXPECT_EQ(stringWithFormat("%@=%@", "%@", "%%"), "%@=%%");
  EXPECT_EQ(stringWithFormat("100%% %@ %@", 1), "100% 1 (null)");
  EXPECT_EQ(stringWithFormat("%d %", "spare"), "%d %");
  EXPECT_EQ(stringWithFormat("%%@", "x"), "%@");
  EXPECT_EQ(stringWithFormat("%@%@", std::optional<std::string>(), nullptr), "(null)(null)");
  EXPECT_EQ(stringWithFormat("%@", Error{"D", -1, "broken"}), "Error Domain=D Code=-1 \"broken\"");
  EXPECT_EQ(stringWithFormat("%@", dateFromSecondsSince1970(0)), "1970-01-01 00:00:00 +0000");
  EXPECT_EQ(stringWithFormat("%@", PropertyValue(Data{0x0a, 0xff})), "<0aff>");
}

TEST(Format, PlatformLogIsSilentUnlessGLibDebugOutputIsEnabled) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  platformLog("quiet");
  setenv("G_MESSAGES_DEBUG", "OQSDK", 1);
  platformLog("debug");
  unsetenv("G_MESSAGES_DEBUG");
  platformWarning("mistake");
  const std::string output = testing::internal::GetCapturedStdout(), errors = testing::internal::GetCapturedStderr();
  using testing::HasSubstr;
  EXPECT_THAT(output, AllOf(HasSubstr("OQSDK-DEBUG"), HasSubstr(": debug\n"), Not(HasSubstr("quiet"))));
  EXPECT_THAT(errors, AllOf(HasSubstr("OQSDK-WARNING"), HasSubstr(": mistake\n"), Not(HasSubstr("quiet"))));
}

TEST(Number, ReadsNumbersFromAnyObject) {
  using Int = std::numeric_limits<std::int64_t>;
  constexpr double Max = std::numeric_limits<double>::max();
  // Each value, followed by the integer and the double that are read from it.
  const JSONValue cases = jsonFrom(R"([
      [null, 0, 0], [true, 1, 1], [[1], 0, 0], [{"a": 1}, 0, 0], [9.99, 9, 9.99], [-9.99, -9, -9.99],
      ["", 0, 0], ["abc", 0, 0], [" \t\n42 apples", 42, 42], ["-12.75", -12, -12.75], ["+5", 5, 5], ["+-5", 0, 0],
      ["--5", 0, 0], [".5", 0, 0.5], ["5.", 5, 5], [".", 0, 0], ["1e3", 1, 1000], ["1e", 1, 1], ["1e+", 1, 1],
      ["2E-2x", 2, 0.02], ["0x1F", 0, 0], ["inf", 0, 0], ["nan", 0, 0], ["-infinity", 0, 0], ["1e-999", 1, 0],
      ["9223372036854775808", 9223372036854775807, 9223372036854775808.0], ["١٢", 0, 0], ["7\u00001", 7, 7],
      ["-9223372036854775809", -9223372036854775808, -9223372036854775808.0],
      [1e300, 9223372036854775807, 1e300], [-1e300, -9223372036854775808, -1e300]])");
  for (const JSONValue& each : cases.as_array()) {
    EXPECT_EQ(integerValue(each.at(0)), each.at(1).as_int64()) << prettyJSON(each);
    EXPECT_DOUBLE_EQ(doubleValue(each.at(0)), each.at(2).to_number<double>()) << prettyJSON(each);
  }
  const std::tuple<JSONValue, std::int64_t, double> notJSON[] = {
      {"1e999", 1, Max},
      {"-1e999", -1, -Max},
      {std::nan(""), 0, 0},
      {std::numeric_limits<double>::infinity(), Int::max(), Max},
      {std::uint64_t{1} << 63, Int::max(), 9223372036854775808.0}};
  for (const auto& [value, integer, real] : notJSON) {
    EXPECT_EQ(integerValue(value), integer);
    EXPECT_DOUBLE_EQ(doubleValue(value), real);
  }
}

TEST(JSON, WrittenJSONCanBeRead) {
  JSONValue value = JSONDictionary{
      {"text", "a\"\\\n\t\x01\x7f/é😀"}, {"empty", JSONArray{}}, {"n", JSONArray{-1, 2.5, 1e300, 1e-7, true, nullptr}}};
  EXPECT_EQ(valueWithJSONData(dataWithJSONObject(value)), value);
  EXPECT_EQ(valueWithJSONData(dataFromString(compactJSON(value))), value);
  EXPECT_EQ(compactJSON(JSONArray{3.0, 3, -0.0}), "[3.0,3,-0.0]");
  EXPECT_EQ(prettyJSON(JSONArray{std::nan(""), HUGE_VAL}), "[\n  null,\n  null\n]");
  EXPECT_EQ(compactJSON("\xff-"), "\"\xef\xbf\xbd-\"");
  JSONValue deep = 1;
  for (int i = 0; i < 2000; ++i) deep = JSONArray{deep};
  EXPECT_TRUE(valueWithJSONData(dataFromString(compactJSON(deep))));
}
