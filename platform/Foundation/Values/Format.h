// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

#include "Foundation/PropertyLists/PropertyValue.h"
#include "Foundation/Values/Data.h"
#include "Foundation/Values/Date.h"
#include "Foundation/Values/Error.h"
#include "Foundation/Values/JSONValue.h"
#include "oqsdk/Export.h"
#include "oqsdk/Runtime.h"

namespace oq {

/// The string that replaces "%@" in stringWithFormat(): strings unquoted, numbers as in JSON (whole doubles without
/// exponent), booleans as 1 and 0, containers as pretty JSON, null as "(null)".
std::string descriptionOf(const JSONValue& value);

/// One argument of a format, already converted to a string.
class FormatArgument {
 public:
  FormatArgument(const char* text) : _text(text ? text : "(null)") {}      // NOLINT: implicit on purpose
  FormatArgument(std::string text) : _text(std::move(text)) {}             // NOLINT
  FormatArgument(std::string_view text) : _text(text) {}                   // NOLINT
  FormatArgument(std::nullptr_t) : _text("(null)") {}                      // NOLINT
  FormatArgument(std::nullopt_t) : _text("(null)") {}                      // NOLINT
  FormatArgument(const JSONValue& value) : _text(descriptionOf(value)) {}  // NOLINT
  FormatArgument(const JSONDictionary& value);                             // NOLINT
  FormatArgument(const PropertyValue& value);                              // NOLINT
  FormatArgument(const Error& error);                                      // NOLINT
  FormatArgument(const Object& object) : _text(object.description()) {}    // NOLINT
  FormatArgument(const Object* object) : _text(object ? object->description() : "(null)") {}  // NOLINT
  template <class T, class = std::enable_if_t<std::is_arithmetic_v<T>>>
  FormatArgument(T number) : _text(descriptionOf(JSONValue(number))) {}  // NOLINT
  template <class T, class = std::enable_if_t<std::is_base_of_v<Object, T>>>
  FormatArgument(const std::shared_ptr<T>& object)  // NOLINT
      : FormatArgument(static_cast<const Object*>(object.get())) {}
  template <class T>
  FormatArgument(const std::optional<T>& value)  // NOLINT
      : _text(value ? FormatArgument(*value).text() : "(null)") {}

  const std::string& text() const { return _text; }

 private:
  std::string _text;
};

/// Replaces each "%@" of the format, in order, by an argument; "%%" becomes "%". Arguments are not scanned for "%". A
/// "%@" without an argument becomes "(null)"; surplus arguments are ignored.
std::string stringWithFormat(std::string_view format, std::initializer_list<FormatArgument> arguments);

template <class... Arguments>
std::string stringWithFormat(std::string_view format, const Arguments&... arguments) {
  return stringWithFormat(format, std::initializer_list<FormatArgument>{FormatArgument(arguments)...});
}

/// Writes a line to the platform's log: GLib's structured log, domain "OQSDK", at debug level. It appears on the host's
/// standard error only if G_MESSAGES_DEBUG asks for it. The library's own log file is separate. Thread-safe.
OQSDK_EXPORT void platformLog(std::string_view text);
/// Like platformLog(), but at warning level, which GLib writes to standard error: for problems that the developers of
/// the host application should see, for example a mistake in how the library was integrated.
void platformWarning(std::string_view text);
/// The handler receives the lines of platformLog() and platformWarning() instead of GLib. An empty function restores
/// GLib. For tests.
void setPlatformLogHandler(std::function<void(std::string_view)> handler);

}  // namespace oq
