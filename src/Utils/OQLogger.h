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
#include <utility>

#include "Dispatch/DispatchQueue.h"
#include "Foundation/Values/Error.h"
#include "Foundation/Values/Format.h"
#include "Foundation/Values/JSONValue.h"
#include "Utils/OQLogHandler.h"
#include "oqsdk/Runtime.h"

namespace oq {

/// The queue that writes log files: one serial queue for the process.
const std::shared_ptr<DispatchQueue>& oq_log_get_dispatch_serial_queue();

/// The library's log: one plain text file per start of the process, in the folder "Log" of the documents folder. The
/// host can limit the size of the files, turn them off, and get each entry itself.
///
/// Threads: any thread may log. An entry has the time of the call, and the file is ordered by time. The caller never
/// waits for the disk, unless 64 MiB are waiting already; no entry is dropped to save this wait. Entries that still
/// wait are written at process exit. While consent is missing (OQConsent), entries are dropped, also those that wait,
/// and no file is created. Failure: if the file cannot be created or written, entries are lost silently.
class OQLogger : public Object {
  OQ_CLASS(OQLogger)

 public:
  /// The logger of the process, created at the first call and never destroyed.
  static OQLogger& getInstance();
  /// A logger with a new file in documents/Log.
  OQLogger();
  /// The same in another folder, for tests; at most `memoryLimit` bytes may wait.
  explicit OQLogger(const std::filesystem::path& folder, std::size_t memoryLimit = 64u << 20);

  /// The handler gets each later entry, without its time, on the thread that logs and without a lock. Entries that are
  /// logged inside a call of a handler, on the same thread, are only written to the file. May be called at any time on
  /// any thread; an empty function removes the handler. Returns when no call of a former handler runs any more, except
  /// inside a call of a handler, where it does not wait.
  static void setHandler(OQLogHandler::Handler handler) { OQLogHandler::set(std::move(handler)); }
  /// From now on the handler gets "***" instead of this string. The last 16 strings stay hidden. To be called with each
  /// token.
  static void setSecret(const std::string& secret) { OQLogHandler::hide(secret); }
  /// Limits the size in bytes of each file of all loggers. An entry that would exceed the limit begins the next file,
  /// unless the file has no other entry. If there are ten files or more, the oldest is removed before the next one
  /// begins, as at a start. The name of a file is the second in which it begins, or the next second for which there is
  /// no file. With 0, no file is written, and entries that wait are dropped. With nullopt (the default) a file has no
  /// limit.
  static void setFileLimit(std::optional<std::uint64_t> bytes);
  /// Removes all log files, also those of earlier runs, and entries that wait. Then begins a new file, unless no entry
  /// may be written now.
  static void removeFiles();

  /// Formats like stringWithFormat() and logs the result.
  template <class... Arguments>
  static void log(std::string_view format, const Arguments&... arguments) {
    if (isWanted()) put(OQLogLevel::Info, stringWithFormat(format, arguments...));
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
  /// The current file; empty if none was begun.
  std::filesystem::path logFilePath() const;

  /// If the folder has ten or more log files (including sub-folders), removes the first one by name. Intentional: only
  /// one per call.
  static void handleFilesOfDirectory(const std::filesystem::path& folder);

 private:
  class Writer;

  /// Whether an entry would be written or passed to the handler.
  static bool isWanted();
  static void put(OQLogLevel level, std::string_view message);

  /// Shared with the block that writes.
  std::shared_ptr<Writer> _writer;
};

}  // namespace oq
