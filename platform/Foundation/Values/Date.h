// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "oqsdk/Export.h"

namespace oq {

using Date = std::chrono::system_clock::time_point;

/// The current date. The whole library uses it, so that a test can set the clock.
OQSDK_EXPORT Date currentDate();
/// Replaces the clock; an empty function restores the system's clock. Thread-safe.
OQSDK_EXPORT void setCurrentDateProvider(std::function<Date()> provider);

double secondsSince1970(Date date);
/// A number outside the clock's range (the years 1678 to 2261) becomes the first or the last date of that range;
/// not-a-number becomes the start of 1970.
Date dateFromSecondsSince1970(double seconds);

/// Formats and parses dates in the device's time zone. The fields are yyyy, MM, dd, HH, mm, ss and SSS; all other
/// characters of the format are literal. Cheap to create; thread-safe.
class DateFormatter {
 public:
  explicit DateFormatter(std::string format) : _format(std::move(format)) {}

  std::string stringFromDate(Date date) const;
  /// Strict: the whole string must have exactly the format's form and name an existing date; otherwise nullopt. A local
  /// time that a clock change skips does not exist; one that occurs twice means the later date. A date beyond the
  /// clock's range becomes the first or the last date of that range, so "9999-12-31" still means the far future.
  std::optional<Date> dateFromString(std::string_view text) const;

 private:
  std::string _format;
};

/// Drops the cached time zone, so that the next conversion reads TZ and the system's setting again. A change of TZ
/// needs this call. A change of /etc/localtime is noticed without it, usually within one second.
void resetSystemTimeZone();

}  // namespace oq
