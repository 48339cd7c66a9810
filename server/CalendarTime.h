// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace oq::server {

// True if the string is an existing calendar time in exactly the form "yyyy-MM-dd HH:mm:ss". Comparing two such strings
// compares the times.
bool isCalendarTime(std::string_view text);

// The current time in UTC as "2026-01-31T23:59:59.123Z".
std::string timestampNow();

}  // namespace oq::server
