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

TEST(Utils, DateComparisonIgnoresMillisecondsAndLogsBothDates) {
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
  const auto useZone = [](const char* zone) {
    ::setenv("TZ", zone, 1);
    resetSystemTimeZone();
  };
  const struct {
    const char *zone, *evening, *next;
    bool isSame;
  } cases[] = {{"UTC", "2026-12-31 23:59:59", "2027-01-01 00:00:00", false},
               {"Asia/Shanghai", "2026-03-10 07:59:59", "2026-03-10 08:00:00", true},     // midnight in UTC
               {"America/New_York", "2026-03-08 00:00:00", "2026-03-08 23:54:00", true},  // a day of 23 hours
               {"America/New_York", "2026-11-01 00:00:00", "2026-11-01 23:30:00", true},  // a day of 25 hours
               {"America/New_York", "2026-11-01 00:00:00", "2026-11-02 00:00:00", false},
               {"UTC", "2025-03-10 12:00:00", "2026-03-10 12:00:00", false}};  // the same day of another year
  for (const auto& [zone, evening, next, isSame] : cases) {
    useZone(zone);
    EXPECT_EQ(OQUtils::isSameDay(date(evening), date(next)), isSame) << zone << " " << next;
    EXPECT_EQ(OQUtils::compareOneDay(date(evening), date(next)), -1) << zone << " " << next;
    EXPECT_EQ(OQUtils::compareOneDay(date(next), date(evening)), 1) << zone << " " << next;
  }
  // The comparison uses local time, in which a repeated hour exists only once.
  useZone("America/New_York");
  const Date repeated = date("2026-11-01 01:30:00");
  EXPECT_EQ(OQUtils::compareOneDay(repeated - std::chrono::hours(1), repeated), 0);
  useZone("UTC");
  EXPECT_EQ(OQUtils::stringFromDate(date("2026-02-28 23:59:59") + milliseconds(900)), "2026-02-28 23:59:59");
  setPlatformLogHandler({});
}

}  // namespace
}  // namespace oq
