#include "Utils/OQUtils.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <vector>

#include "Foundation/Format.h"
#include "src/TemporaryFolder.h"

namespace oq {
namespace {

using std::chrono::milliseconds;

Date date(const char* text) {
  return OQUtils::dateFromString(text).value();
}

TEST(Utils, ReadsDatesStrictly) {
  EXPECT_EQ(OQUtils::stringFromDate(date("2026-02-28 23:59:59") + milliseconds(900)), "2026-02-28 23:59:59");
  for (const Value& wrong : {Value(), Value(""), Value("2026-02-30 00:00:00"), Value("2026-02-03"),
                             Value(20260203), Value("2026-02-03 04:05:06 "), Value("2026-2-3 4:5:6")}) {
    EXPECT_FALSE(OQUtils::dateFromString(wrong)) << wrong;
  }
}

TEST(Utils, ComparesToTheWholeSecondAndSaysSo) {
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

TEST(Utils, DaysAreTheCalendarsOfTheTimeZone) {
  EXPECT_TRUE(OQUtils::isSameDay(date("2026-03-10 00:00:00"), date("2026-03-10 23:59:59")));
  EXPECT_FALSE(OQUtils::isSameDay(date("2026-03-10 23:59:59"), date("2026-03-11 00:00:00")));
  EXPECT_FALSE(OQUtils::isSameDay(date("2025-03-10 12:00:00"), date("2026-03-10 12:00:00")));
  EXPECT_FALSE(OQUtils::isSameDay(std::nullopt, std::nullopt));
}

TEST(Utils, TheCircleIsOfTheWidth) {
  CGRect tall = CGRectMake(0, 0, 60, 100), moved = CGRectMake(100, -50, 60, 10);
  struct {
    CGPoint point;
    CGRect rect;
    bool inside;
  } cases[] = {{{30, 60}, tall, true},    {{30, 61}, tall, false},
               {{0, 30}, tall, true},     {{0, 0}, tall, false},
               {{130, -20}, moved, true}, {{130, 10.5}, moved, false},
               {{48, 54}, tall, true},    {{std::numeric_limits<double>::quiet_NaN(), 30}, tall, false}};
  for (const auto& c : cases)
    EXPECT_EQ(OQUtils::point(c.point, c.rect), c.inside) << c.point.x << ", " << c.point.y;
}

TEST(Utils, Base64OfTexts) {
  EXPECT_EQ(OQUtils::base64Encode("弹窗?>"), "5by556qXPz4=");
  EXPECT_EQ(OQUtils::base64Decode("5by5\n 56qX*Pz4="), "弹窗?>");
  EXPECT_EQ(OQUtils::base64Decode(OQUtils::base64Encode(std::string(200, 'x'))), std::string(200, 'x'));
  EXPECT_EQ(OQUtils::base64Encode(std::string(200, 'x'))->find('\n'), std::string::npos);
  for (const std::optional<std::string>& nothing :
       {std::optional<std::string>(), std::optional<std::string>("")}) {
    EXPECT_FALSE(OQUtils::base64Encode(nothing));
    EXPECT_FALSE(OQUtils::base64Decode(nothing));
  }
  EXPECT_FALSE(OQUtils::base64Decode("/w=="));  // no UTF-8
  EXPECT_FALSE(OQUtils::base64Decode("A"));
}

TEST(Utils, TheIdentifierStays) {
  test::TemporaryFolder folder;
  std::string first = OQUtils::getUUID();
  EXPECT_EQ(first.size(), 36u);
  EXPECT_EQ(OQUtils::getUUID(), first);
}

}  // namespace
}  // namespace oq
