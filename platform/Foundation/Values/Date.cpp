// SPDX-License-Identifier: Apache-2.0
#include "Foundation/Values/Date.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <ctime>
#include <mutex>
#include <tuple>
#include <utility>

#include "Foundation/Values/Snapshot.h"

namespace oq {
namespace {

using namespace std::chrono;

using Provider = std::function<Date()>;

std::atomic<bool> providerIsSet{false};
std::atomic<unsigned> zoneGeneration{0};

Snapshot<Provider>& provider() {
  static auto* current = new Snapshot<Provider>;  // never destroyed: threads may use it while the process ends
  return *current;
}

struct Field {
  const char* name;
  std::size_t width;
  int std::tm::*member;  ///< nullptr for milliseconds, which std::tm does not have
  int offset;            ///< the member's value is the number in the string minus this
};
constexpr std::array<Field, 7> kFields{{{"yyyy", 4, &std::tm::tm_year, 1900},
                                        {"MM", 2, &std::tm::tm_mon, 1},
                                        {"dd", 2, &std::tm::tm_mday, 0},
                                        {"HH", 2, &std::tm::tm_hour, 0},
                                        {"mm", 2, &std::tm::tm_min, 0},
                                        {"ss", 2, &std::tm::tm_sec, 0},
                                        {"SSS", 3, nullptr, 0}}};

const Field* fieldAt(std::string_view format) {
  auto found =
      std::find_if(kFields.begin(), kFields.end(), [&](const Field& field) { return format.starts_with(field.name); });
  return found == kFields.end() ? nullptr : &*found;
}

/// Resets the cached time zone if the device's time zone has changed. Checks at most once per second, because the check
/// needs a system call.
void noticeNewZone() {
  static std::atomic<std::time_t> looked{-1};
  timespec now{};
  ::clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  if (looked.exchange(now.tv_sec, std::memory_order_relaxed) == now.tv_sec) return;
  struct stat zone {};
  if (::stat("/etc/localtime", &zone) != 0) return;
  const auto changed = std::tuple(zone.st_dev, zone.st_ino, zone.st_mtim.tv_sec, zone.st_mtim.tv_nsec);
  static std::mutex mutex;
  static auto known = changed;
  std::lock_guard lock(mutex);
  if (std::exchange(known, changed) != changed) resetSystemTimeZone();
}

/// The date and time of a second in the device's time zone. Many log entries share a second, so each thread caches its
/// last result. The next call on the same thread changes the returned fields.
const std::tm& localFields(std::time_t second) {
  struct Known {
    std::time_t second = 0;
    unsigned generation = 0;
    bool valid = false;
    std::tm fields{};
  };
  thread_local Known known;
  unsigned generation = zoneGeneration.load(std::memory_order_acquire);
  if (!known.valid || known.second != second || known.generation != generation) {
    noticeNewZone();
    localtime_r(&second, &known.fields);
    known.second = second;
    known.generation = generation;
    known.valid = true;
  }
  return known.fields;
}

bool isSameTime(const std::tm& a, const std::tm& b) {
  return a.tm_year == b.tm_year && a.tm_mon == b.tm_mon && a.tm_mday == b.tm_mday && a.tm_hour == b.tm_hour &&
         a.tm_min == b.tm_min && a.tm_sec == b.tm_sec;
}

/// The second that has these fields in the device's time zone: nullopt for a local time that a clock change skips, the
/// later second for one that occurs twice. Uses the UTC offsets one day before and after instead of mktime, whose
/// result for ambiguous hours depends on earlier calls.
std::optional<std::time_t> secondWithLocalFields(const std::tm& fields) {
  std::tm copy = fields;
  std::time_t asIfUniversal = timegm(&copy);
  std::optional<std::time_t> result;
  for (int days : {-1, 1}) {
    std::time_t candidate = asIfUniversal - localFields(asIfUniversal + days * 86400).tm_gmtoff;
    if (!isSameTime(localFields(candidate), fields)) continue;
    result = result ? std::max(*result, candidate) : candidate;
  }
  return result;
}

void appendNumber(std::string& text, int number, std::size_t width) {
  char digits[8];
  for (std::size_t i = width; i-- > 0; number /= 10) digits[i] = static_cast<char>('0' + number % 10);
  text.append(digits, width);
}

std::optional<int> numberOf(std::string_view digits) {
  int number = 0;
  for (char c : digits) {
    if (c < '0' || c > '9') return std::nullopt;
    number = number * 10 + (c - '0');
  }
  return number;
}

}  // namespace

Date currentDate() {
  if (providerIsSet.load(std::memory_order_acquire)) {
    if (auto current = provider().load(); *current) return (*current)();
  }
  return system_clock::now();
}

void setCurrentDateProvider(std::function<Date()> newProvider) {
  bool isSet = static_cast<bool>(newProvider);
  provider().exchange(std::make_shared<const Provider>(std::move(newProvider)));
  providerIsSet.store(isSet, std::memory_order_release);
}

double secondsSince1970(Date date) {
  return duration<double>(date.time_since_epoch()).count();
}

Date dateFromSecondsSince1970(double seconds) {
  if (std::isnan(seconds)) return Date{};
  // Slightly inside the clock's range, where a double is still exact enough to compare.
  constexpr double Limit = 9.2e9;
  return Date(duration_cast<Date::duration>(duration<double>(std::clamp(seconds, -Limit, Limit))));
}

std::string DateFormatter::stringFromDate(Date date) const {
  auto second = floor<seconds>(date);
  const std::tm& fields = localFields(second.time_since_epoch().count());
  auto milliseconds = static_cast<int>(duration_cast<std::chrono::milliseconds>(date - second).count());

  std::string text;
  text.reserve(_format.size());
  std::string_view format = _format;
  while (!format.empty()) {
    const Field* field = fieldAt(format);
    if (!field) {
      text.push_back(format.front());
      format.remove_prefix(1);
      continue;
    }
    appendNumber(text, field->member ? fields.*field->member + field->offset : milliseconds, field->width);
    format.remove_prefix(field->width);
  }
  return text;
}

std::optional<Date> DateFormatter::dateFromString(std::string_view text) const {
  std::tm fields{};
  fields.tm_year = 2000 - 1900;  // fields missing from the format default to midnight of this day
  fields.tm_mday = 1;
  int milliseconds = 0;

  std::string_view format = _format;
  while (!format.empty()) {
    const Field* field = fieldAt(format);
    std::size_t width = field ? field->width : 1;
    if (text.size() < width) return std::nullopt;
    if (field) {
      auto number = numberOf(text.substr(0, width));
      if (!number) return std::nullopt;
      (field->member ? fields.*field->member : milliseconds) = *number - field->offset;
    } else if (text.front() != format.front()) {
      return std::nullopt;
    }
    format.remove_prefix(width);
    text.remove_prefix(width);
  }
  if (!text.empty()) return std::nullopt;

  auto second = secondWithLocalFields(fields);
  if (!second) return std::nullopt;
  return dateFromSecondsSince1970(static_cast<double>(*second)) + std::chrono::milliseconds(milliseconds);
}

void resetSystemTimeZone() {
  tzset();
  zoneGeneration.fetch_add(1, std::memory_order_acq_rel);
}

}  // namespace oq
