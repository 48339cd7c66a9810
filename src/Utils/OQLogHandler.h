// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace oq {

/// Errors are the entries of OQLogger::error().
enum class OQLogLevel { Info, Error };

/// The function of the host that gets the entries of the log, and the secrets that are hidden from it. Thread-safe.
class OQLogHandler {
 public:
  using Handler = std::function<void(OQLogLevel level, std::string_view message)>;

  static void set(Handler handler);
  /// Whether a handler would get an entry that this thread logs now.
  static bool isWanted();
  /// Passes an entry to the handler, if there is one, on the calling thread and without a lock. Has no effect inside a
  /// call of a handler.
  static void pass(OQLogLevel level, std::string_view message);
  /// Messages get to the handler with "***" in place of the string, also where it is escaped as in JSON. The last 16
  /// different strings of these calls are hidden.
  static void hide(const std::string& secret);
};

}  // namespace oq
