// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

#include "Dispatch/DispatchQueue.h"
#include "Foundation/Values/Error.h"
#include "Foundation/Values/Format.h"
#include "Foundation/Values/JSONValue.h"
#include "oqsdk/Runtime.h"

namespace oq {

/// The queue that writes log files: one serial queue for the process.
const std::shared_ptr<DispatchQueue>& oq_log_get_dispatch_serial_queue();

/// The library's log: one plain text file per start of the process, in the folder "Log" of the documents folder.
///
/// Threads: any thread may log. An entry has the time of the call, and the file is ordered by time. The caller never
/// waits for the disk, unless 64 MiB are waiting already; no entry is dropped. Entries that still wait are written at
/// process exit. Failure: if the file cannot be created or written, entries are lost silently.
class OQLogger : public Object {
  OQ_CLASS(OQLogger)

 public:
  /// The logger of the process, created at the first call and never destroyed.
  static OQLogger& getInstance();
  /// A logger with a new file in documents/Log.
  OQLogger();
  /// The same in another folder, for tests; at most `memoryLimit` bytes may wait.
  explicit OQLogger(const std::filesystem::path& folder, std::size_t memoryLimit = 64u << 20);

  /// Formats like stringWithFormat() and logs the result.
  template <class... Arguments>
  static void log(std::string_view format, const Arguments&... arguments) {
    getInstance()._log(stringWithFormat(format, arguments...));
  }

  /// A number is logged as an HTTP status, a string unchanged; other values are ignored.
  static void error(const JSONValue& object);
  static void error(const Error& error);
  static void error(const std::string& message);
  static void error(const char* message);
  template <class T, class = std::enable_if_t<std::is_arithmetic_v<T>>>
  static void error(T number) {
    error(JSONValue(number));
  }

  /// Logs a complete message. Line feeds in it are written unchanged.
  void _log(std::string_view message);
  /// Returns after everything logged before the call has been written to the file.
  void flush();
  const std::filesystem::path& logFilePath() const { return _logFilePath; }

  /// If the folder has ten or more log files (including sub-folders), removes the first one by name. Intentional: only
  /// one per call.
  static void handleFilesOfDirectory(const std::filesystem::path& folder);

 private:
  class Writer;

  std::filesystem::path _logFilePath;
  /// Shared with the block that writes.
  std::shared_ptr<Writer> _writer;
};

}  // namespace oq
