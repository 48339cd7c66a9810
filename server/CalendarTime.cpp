// SPDX-License-Identifier: Apache-2.0
#include "CalendarTime.h"

#include <chrono>
#include <cstdio>
#include <ctime>

namespace oq::server {

namespace {

constexpr std::string_view pattern = "dddd-dd-dd dd:dd:dd";

bool fits(std::string_view text) {
  if (text.size() != pattern.size()) return false;
  for (size_t i = 0; i < text.size(); ++i) {
    const bool digit = text[i] >= '0' && text[i] <= '9';
    if (pattern[i] == 'd' ? !digit : text[i] != pattern[i]) return false;
  }
  return true;
}

unsigned number(std::string_view text, size_t from, size_t length) {
  unsigned value = 0;
  for (const char digit : text.substr(from, length)) value = value * 10 + static_cast<unsigned>(digit - '0');
  return value;
}

}  // namespace

bool isCalendarTime(std::string_view text) {
  if (!fits(text)) return false;
  const std::chrono::year_month_day day{std::chrono::year(static_cast<int>(number(text, 0, 4))),
                                        std::chrono::month(number(text, 5, 2)), std::chrono::day(number(text, 8, 2))};
  return day.ok() && number(text, 11, 2) < 24 && number(text, 14, 2) < 60 && number(text, 17, 2) < 60;
}

std::string timestampNow() {
  using namespace std::chrono;
  const auto now = system_clock::now();
  const auto milliseconds = duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
  const std::time_t seconds = system_clock::to_time_t(now);
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  char text[40];
  const auto length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
  std::snprintf(text + length, sizeof text - length, ".%03dZ", static_cast<int>(milliseconds));
  return text;
}

}  // namespace oq::server
