// SPDX-License-Identifier: Apache-2.0
#include "Utils/OQUtils.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

#include "Foundation/Values/Format.h"

namespace oq {
namespace {

using std::chrono::milliseconds;

Date date(const char* text) {
  return OQUtils::dateFromString(text).value();
}

TEST(Utils, ComparesWholeSecondsAndLogs) {
  std::vector<std::string> lines;
  setPlatformLogHandler([&](std::string_view line) { lines.emplace_back(line); });
  Date noon = date("2026-03-10 12:00:00");
  EXPECT_EQ(OQUtils::compareOneDay(noon + milliseconds(500), noon + milliseconds(900)), 0);
  EXPECT_EQ(OQUtils::compareOneDay(noon + milliseconds(1000), noon + milliseconds(999)), 1);
  EXPECT_EQ(OQUtils::compareOneDay(noon - milliseconds(1), noon), -1);
  EXPECT_EQ(OQUtils::compareOneDay(noon, std::nullopt), 0);
  EXPECT_EQ(OQUtils::compareOneDay(std::nullopt, noon), 0);
  setPlatformLogHandler({});
  ASSERT_EQ(lines.size(), 5u);
  for (const auto& line : lines) EXPECT_TRUE(line.starts_with("date1 : ")) << line;
  EXPECT_TRUE(lines[3].ends_with(", date2 : (null)")) << lines[3];
}

TEST(Utils, DaysChangeAtLocalMidnight) {
  setPlatformLogHandler([](std::string_view) {});
  struct Case {
    const char* zone;
    const char* evening;
    double seconds;  ///< until the next moment
    const char* next;
    bool same;
  };
  const Case cases[] = {
      {"UTC", "2026-12-31 23:59:59", 1, "2027-01-01 00:00:00", false},
      {"Asia/Shanghai", "2026-03-10 07:59:59", 1, "2026-03-10 08:00:00", true},  // midnight in UTC does not count
      {"America/New_York", "2026-03-08 00:00:00", 22.9 * 3600, "2026-03-08 23:54:00", true},  // a day of 23 hours
      {"America/New_York", "2026-03-08 00:00:00", 23.0 * 3600, "2026-03-09 00:00:00", false},
      {"America/New_York", "2026-11-01 00:00:00", 24.5 * 3600, "2026-11-01 23:30:00", true},  // a day of 25 hours
      {"America/New_York", "2026-11-01 00:00:00", 25.0 * 3600, "2026-11-02 00:00:00", false},
      {"America/Sao_Paulo", "2018-11-03 23:59:59", 1, "2018-11-04 01:00:00",
       false},                                                                    // a day that starts at one o'clock
      {"UTC", "2025-03-10 12:00:00", 365 * 86400, "2026-03-10 12:00:00", false},  // the same day of another year
  };
  for (const Case& each : cases) {
    ::setenv("TZ", each.zone, 1);
    resetSystemTimeZone();
    Date first = date(each.evening);
    Date second = first + std::chrono::duration_cast<Date::duration>(std::chrono::duration<double>(each.seconds));
    EXPECT_EQ(OQUtils::stringFromDate(second), each.next) << each.zone;
    EXPECT_EQ(OQUtils::isSameDay(first, second), each.same) << each.zone << " " << each.next;
    EXPECT_EQ(OQUtils::compareOneDay(first, second), -1) << each.zone << " " << each.next;
    EXPECT_EQ(OQUtils::compareOneDay(second, first), 1) << each.zone << " " << each.next;
  }
  // The comparison uses local time, in which a repeated hour exists only once.
  ::setenv("TZ", "America/New_York", 1);
  resetSystemTimeZone();
  Date repeated = date("2026-11-01 01:30:00");
  EXPECT_EQ(OQUtils::compareOneDay(repeated - std::chrono::hours(1), repeated), 0);
  ::setenv("TZ", "UTC", 1);
  resetSystemTimeZone();
  setPlatformLogHandler({});
}

}  // namespace
}  // namespace oq
