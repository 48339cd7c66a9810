// SPDX-License-Identifier: Apache-2.0
#include "Foundation/Values/Date.h"

#include <gtest/gtest.h>
#include <stdlib.h>

using namespace oq;

namespace {

class DateTest : public testing::Test {
 protected:
  ~DateTest() override { useZone("UTC"); }
  static void useZone(const char* name) {
    ::setenv("TZ", name, 1);
    resetSystemTimeZone();
  }
  static std::optional<double> parsed(const std::string& format, std::string_view text) {
    auto date = DateFormatter(format).dateFromString(text);
    return date ? std::optional(secondsSince1970(*date)) : std::nullopt;
  }
  const std::string seconds = "yyyy-MM-dd HH:mm:ss";
};

}  // namespace

TEST_F(DateTest, ParsesOnlyTextThatMatchesTheFormatExactly) {
  useZone("UTC");
  EXPECT_EQ(parsed(seconds, "1970-01-02 00:00:01"), 86401);
  EXPECT_EQ(parsed(seconds, "2024-02-29 12:00:00"), 1709208000);
  EXPECT_EQ(parsed("yyyy-MM-dd HH:mm:ss.SSS", "1970-01-01 00:00:01.250"), 1.25);
  EXPECT_EQ(parsed("yyyy-MM-dd", "2026-11-14"), 1794614400);
  for (const char* text :
       {"", "2026-11-14", "2026-11-14 10:00:00 ", " 2026-11-14 10:00:00", "2026-1-14 10:00:00", "2026/11/14 10:00:00",
        "2026-02-29 10:00:00", "2026-13-01 10:00:00", "2026-00-10 10:00:00", "2026-11-31 10:00:00",
        "2026-11-14 24:00:00", "2026-11-14 10:60:00", "2026-11-14 10:00:60", "+026-11-14 10:00:00",
        "2026-11-14T10:00:00", "2026-11-14 10:00:0x", "-026-11-14 10:00:00"}) {
    EXPECT_FALSE(parsed(seconds, text)) << text;
  }
  EXPECT_GT(parsed(seconds, "9999-12-31 23:59:59"), 9e9);
  EXPECT_LT(parsed(seconds, "0001-01-01 00:00:00"), 0);
  EXPECT_GT(dateFromSecondsSince1970(1e300), currentDate());
}

TEST_F(DateTest, FormatsInTheSystemTimeZone) {
  DateFormatter formatter("yyyy-MM-dd HH:mm:ss.SSS (yyyy)");
  useZone("Asia/Shanghai");
  EXPECT_EQ(formatter.stringFromDate(dateFromSecondsSince1970(0.5)), "1970-01-01 08:00:00.500 (1970)");
  EXPECT_EQ(formatter.stringFromDate(dateFromSecondsSince1970(-0.25)), "1970-01-01 07:59:59.750 (1970)");
  useZone("America/New_York");
  EXPECT_EQ(formatter.stringFromDate(dateFromSecondsSince1970(0.5)), "1969-12-31 19:00:00.500 (1969)");
}

TEST_F(DateTest, SkippedTimesAreInvalidAndRepeatedTimesMeanTheLaterOne) {
  struct Case {
    const char* zone;
    const char* text;
    std::optional<double> expected;
  };
  const Case cases[] = {
      {"America/New_York", "2026-03-08 02:30:00", std::nullopt},  // does not exist: clocks skip this hour
      {"America/New_York", "2026-03-08 01:59:59", 1772953199},
      {"America/New_York", "2026-03-08 03:00:00", 1772953200},
      {"America/New_York", "2026-11-01 01:30:00", 1793514600},  // occurs twice: the later time is used
      {"America/New_York", "2026-07-01 00:00:00", 1782878400},
      {"Australia/Lord_Howe", "2026-10-04 02:15:00", std::nullopt},  // clocks skip half an hour
      {"Pacific/Apia", "2011-12-30 12:00:00", std::nullopt},         // the calendar skips this day
      {"Pacific/Apia", "2011-12-31 00:00:00", 1325239200},
  };
  for (const auto& c : cases) {
    useZone(c.zone);
    EXPECT_EQ(parsed(seconds, c.text), c.expected) << c.zone << " " << c.text;
  }
}
