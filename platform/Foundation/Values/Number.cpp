// SPDX-License-Identifier: Apache-2.0
#include "Foundation/Values/Number.h"

#include <glib.h>

#include <charconv>
#include <cmath>
#include <limits>
#include <string>

namespace oq {
namespace {

using Integers = std::numeric_limits<std::int64_t>;
using Doubles = std::numeric_limits<double>;

std::string_view withoutLeadingBlanks(std::string_view text) {
  auto first = text.find_first_not_of(" \t\n\v\f\r");
  return first == text.npos ? std::string_view() : text.substr(first);
}

std::int64_t integerFromText(std::string_view text) {
  text = withoutLeadingBlanks(text);
  bool negative = text.starts_with('-');
  bool plus = text.starts_with('+');
  if (plus) text.remove_prefix(1);
  // "+-1" is not a number, but from_chars accepts the "-".
  if (plus && text.starts_with('-')) return 0;
  std::int64_t number = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error == std::errc::result_out_of_range) return negative ? Integers::min() : Integers::max();
  return number;
}

std::size_t digitsFrom(std::string_view text, std::size_t position) {
  while (position < text.size() && g_ascii_isdigit(text[position])) ++position;
  return position;
}

/// The longest prefix that is a decimal number with an optional fraction and exponent; may be empty.
std::string_view decimalPrefix(std::string_view text) {
  std::size_t begin = text.starts_with('-') || text.starts_with('+') ? 1 : 0;
  std::size_t end = digitsFrom(text, begin);
  std::size_t digits = end - begin;
  if (end < text.size() && text[end] == '.') {
    std::size_t afterFraction = digitsFrom(text, end + 1);
    digits += afterFraction - end - 1;
    end = afterFraction;
  }
  if (digits == 0) return {};
  if (end < text.size() && (text[end] == 'e' || text[end] == 'E')) {
    std::size_t exponent = end + 1;
    if (exponent < text.size() && (text[exponent] == '-' || text[exponent] == '+')) ++exponent;
    std::size_t afterExponent = digitsFrom(text, exponent);
    if (afterExponent > exponent) end = afterExponent;
  }
  return text.substr(0, end);
}

double saturated(double number) {
  if (std::isnan(number)) return 0;
  if (std::isinf(number)) return number > 0 ? Doubles::max() : Doubles::lowest();
  return number;
}

double doubleFromText(std::string_view text) {
  std::string number(decimalPrefix(withoutLeadingBlanks(text)));
  return number.empty() ? 0 : saturated(g_ascii_strtod(number.c_str(), nullptr));
}

std::int64_t integerFromDouble(double number) {
  if (std::isnan(number)) return 0;
  if (number >= 0x1p63) return Integers::max();
  if (number < -0x1p63) return Integers::min();
  return static_cast<std::int64_t>(number);
}

}  // namespace

std::int64_t integerValue(const JSONValue& value) {
  switch (value.kind()) {
    case boost::json::kind::int64:
      return value.get_int64();
    case boost::json::kind::uint64:
      return value.get_uint64() > static_cast<std::uint64_t>(Integers::max())
                 ? Integers::max()
                 : static_cast<std::int64_t>(value.get_uint64());
    case boost::json::kind::double_:
      return integerFromDouble(value.get_double());
    case boost::json::kind::bool_:
      return value.get_bool() ? 1 : 0;
    case boost::json::kind::string:
      return integerFromText(value.get_string());
    default:
      return 0;
  }
}

double doubleValue(const JSONValue& value) {
  switch (value.kind()) {
    case boost::json::kind::int64:
      return static_cast<double>(value.get_int64());
    case boost::json::kind::uint64:
      return static_cast<double>(value.get_uint64());
    case boost::json::kind::double_:
      return saturated(value.get_double());
    case boost::json::kind::bool_:
      return value.get_bool() ? 1 : 0;
    case boost::json::kind::string:
      return doubleFromText(value.get_string());
    default:
      return 0;
  }
}

const JSONValue& valueForKey(const JSONValue& object, std::string_view key) {
  static const JSONValue nothing;
  const JSONDictionary* dictionary = object.if_object();
  if (!dictionary) return nothing;
  const JSONValue* found = dictionary->if_contains(key);
  return found ? *found : nothing;
}

bool isNonEmptyString(const JSONValue& value) {
  return value.is_string() && !value.get_string().empty();
}

}  // namespace oq
