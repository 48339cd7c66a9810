#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "oqsdk/Export.h"

namespace oq {

using Date = std::chrono::system_clock::time_point;

/// The current date. All of the library asks here, so that a test can hold the clock.
OQSDK_EXPORT Date currentDate();
/// Replaces the clock; an empty function gives the system's clock back. Any thread.
OQSDK_EXPORT void setCurrentDateProvider(std::function<Date()> provider);

double secondsSince1970(Date date);
/// A number beyond the clock (the years 1678 to 2261) gives its first or last date, not-a-number gives 1970.
Date dateFromSecondsSince1970(double seconds);

/// Text from dates and back, in the device's time zone. Knows the fields yyyy, MM, dd, HH, mm, ss and SSS;
/// anything else in the format stands for itself. Cheap to make; safe to share between threads.
class DateFormatter {
 public:
  explicit DateFormatter(std::string format) : _format(std::move(format)) {}

  std::string stringFromDate(Date date) const;
  /// Strict: the whole text, in the format's exact form, naming a date that exists; nullopt otherwise. A
  /// local time that a change of the clocks leaves out does not exist, one that comes twice is the later
  /// date. Years beyond the clock's read as its first or last date, so "9999-12-31" still means the far
  /// future.
  std::optional<Date> dateFromString(std::string_view text) const;

 private:
  std::string _format;
};

/// Forgets the time zone that was in force, so that the next conversion reads TZ and the system's setting again.
/// Without it a change is noticed within a second.
void resetSystemTimeZone();

}  // namespace oq
