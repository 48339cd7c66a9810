// SPDX-License-Identifier: Apache-2.0
#include "Foundation/Values/Format.h"

#include <glib.h>

#include <ctime>

#include "Foundation/Files/FileManager.h"
#include "Foundation/Values/JSONSerialization.h"
#include "Foundation/Values/Snapshot.h"

namespace oq {
namespace {

std::string hexOf(const Data& data) {
  static constexpr char kHex[] = "0123456789abcdef";
  std::string text = "<";
  for (std::uint8_t byte : data) {
    text.push_back(kHex[byte >> 4]);
    text.push_back(kHex[byte & 15]);
  }
  return text + ">";
}

std::string universalTimeOf(Date date) {
  std::time_t seconds = std::chrono::floor<std::chrono::seconds>(date).time_since_epoch().count();
  std::tm fields{};
  char text[64];
  gmtime_r(&seconds, &fields);
  return std::string(text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S +0000", &fields));
}

std::string descriptionOfProperty(const PropertyValue& value) {
  if (auto* data = std::get_if<Data>(&value)) return hexOf(*data);
  if (auto* date = std::get_if<Date>(&value)) return universalTimeOf(*date);
  return descriptionOf(std::get<JSONValue>(value));
}

using LogHandler = std::function<void(std::string_view)>;

Snapshot<LogHandler>& logHandler() {
  static auto* handler = new Snapshot<LogHandler>;  // never destroyed: threads may use it while the process ends
  return *handler;
}

void writeToPlatformLog(GLogLevelFlags level, const char* priority, std::string_view text) {
  auto handler = logHandler().load();
  if (*handler) return (*handler)(text);
  // The guard keeps SIGPIPE from ending the host if standard error is a closed pipe. Usually GLib drops the line; then
  // the system calls of the guard are not needed.
  std::optional<WriteSignalGuard> guard;
  if (!g_log_writer_default_would_drop(level, "OQSDK")) guard.emplace();
  const GLogField fields[] = {{"GLIB_DOMAIN", "OQSDK", -1},
                              {"PRIORITY", priority, -1},
                              {"MESSAGE", text.data(), static_cast<gssize>(text.size())}};
  g_log_structured_array(level, fields, std::size(fields));
}

}  // namespace

std::string descriptionOf(const JSONValue& value) {
  if (value.is_null()) return "(null)";
  if (value.is_bool()) return value.get_bool() ? "1" : "0";
  if (value.is_string()) return std::string(value.get_string());
  return prettyJSON(value);
}

FormatArgument::FormatArgument(const JSONDictionary& value) : _text(prettyJSON(value)) {}
FormatArgument::FormatArgument(const PropertyValue& value) : _text(descriptionOfProperty(value)) {}
FormatArgument::FormatArgument(const Error& error)
    : _text("Error Domain=" + error.domain + " Code=" + std::to_string(error.code) + " \"" +
            error.localizedDescription + "\"") {}

std::string stringWithFormat(std::string_view format, std::initializer_list<FormatArgument> arguments) {
  std::size_t length = format.size();
  for (const auto& argument : arguments) length += argument.text().size();
  std::string result;
  result.reserve(length);

  auto next = arguments.begin();
  while (!format.empty()) {
    auto percent = format.find('%');
    result.append(format.substr(0, percent));
    if (percent == format.npos) break;
    format.remove_prefix(percent);
    if (format.starts_with("%@")) {
      result.append(next == arguments.end() ? std::string_view("(null)") : (next++)->text());
      format.remove_prefix(2);
    } else {
      result.push_back('%');
      format.remove_prefix(format.starts_with("%%") ? 2 : 1);
    }
  }
  return result;
}

void platformLog(std::string_view text) {
  writeToPlatformLog(G_LOG_LEVEL_DEBUG, "7", text);
}

void platformWarning(std::string_view text) {
  writeToPlatformLog(G_LOG_LEVEL_WARNING, "4", text);
}

void setPlatformLogHandler(std::function<void(std::string_view)> handler) {
  logHandler().exchange(std::make_shared<const LogHandler>(std::move(handler)));
}

}  // namespace oq
