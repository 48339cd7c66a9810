// SPDX-License-Identifier: Apache-2.0
#include "Utils/OQUtils.h"

#include <cmath>

#include "Foundation/System/Device.h"
#include "Foundation/Values/Base64.h"
#include "Foundation/Values/Format.h"

namespace oq {

namespace {

const char* const kDateFormat = "yyyy-MM-dd HH:mm:ss";

/// The date without fractions of a second.
std::optional<Date> wholeSeconds(Date date) {
  DateFormatter formatter(kDateFormat);
  return formatter.dateFromString(formatter.stringFromDate(date));
}

FormatArgument argument(const std::optional<Date>& date) {
  return date ? FormatArgument(PropertyValue(*date)) : FormatArgument(nullptr);
}

}  // namespace

std::string OQUtils::getOSVersion() {
  return operatingSystemVersion();
}

std::string OQUtils::getUUID() {
  return identifierForVendor();
}

std::optional<Date> OQUtils::dateFromString(const JSONValue& text) {
  if (!text.is_string()) return std::nullopt;
  return DateFormatter(kDateFormat).dateFromString(std::string_view(text.get_string()));
}

std::string OQUtils::stringFromDate(Date date) {
  return DateFormatter(kDateFormat).stringFromDate(date);
}

int OQUtils::compareOneDay(std::optional<Date> oneDay, std::optional<Date> anotherDay) {
  platformLog(stringWithFormat("date1 : %@, date2 : %@", {argument(oneDay), argument(anotherDay)}));
  if (!oneDay || !anotherDay) return 0;
  std::optional<Date> one = wholeSeconds(*oneDay);
  std::optional<Date> another = wholeSeconds(*anotherDay);
  if (!one || !another || *one == *another) return 0;
  return *one > *another ? 1 : -1;
}

bool OQUtils::isSameDay(std::optional<Date> oneDay, std::optional<Date> anotherDay) {
  if (!oneDay || !anotherDay) return false;
  DateFormatter formatter("yyyy-MM-dd");
  return formatter.stringFromDate(*oneDay) == formatter.stringFromDate(*anotherDay);
}

bool OQUtils::point(CGPoint point, CGRect inCircleRect) {
  double radius = inCircleRect.size.width * 0.5;
  CGPoint center{inCircleRect.origin.x + radius, inCircleRect.origin.y + radius};
  return std::hypot(std::abs(point.x - center.x), std::abs(point.y - center.y)) <= radius;
}

std::optional<std::string> OQUtils::base64Encode(const std::optional<std::string>& text) {
  if (!text || text->empty()) return std::nullopt;
  return base64EncodedString(dataFromString(*text));
}

std::optional<std::string> OQUtils::base64Decode(const std::optional<std::string>& text) {
  if (!text || text->empty()) return std::nullopt;
  std::optional<Data> bytes = dataWithBase64(*text);
  if (!bytes) return std::nullopt;
  std::string decoded = stringFromData(*bytes);
  if (!isValidUTF8(decoded)) return std::nullopt;
  return decoded;
}

}  // namespace oq
