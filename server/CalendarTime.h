#pragma once

#include <string>
#include <string_view>

namespace oq::server {

// Whether the text is a moment that exists, in exactly the form "yyyy-MM-dd HH:mm:ss". Two such texts compare
// as the moments do.
bool isCalendarTime(std::string_view text);

// The current time in UTC as "2026-01-31T23:59:59.123Z".
std::string timestampNow();

}  // namespace oq::server
