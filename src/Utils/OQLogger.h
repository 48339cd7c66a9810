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

/// What happened, in one plain text file for each start of the process, in the folder "Log" of the documents.
///
/// Threads: any thread may log; an entry bears the time of the call, and entries stand in the file in the
/// order of their times. The caller hands its text over and never waits for the disk, unless 64 MiB wait
/// already: nothing is dropped. What still waits when the process ends is written then. Failure: a file that
/// cannot be made or written loses entries silently; nothing reaches the caller.
class OQLogger : public Object {
  OQ_CLASS(OQLogger)

 public:
  /// The logger of the process, made at the first call and never destroyed.
  static OQLogger& getInstance();
  /// A logger with a file of its own in documents/Log.
  OQLogger();
  /// The same in another folder, for tests; `memoryLimit` bytes may wait.
  explicit OQLogger(const std::filesystem::path& folder, std::size_t memoryLimit = 64u << 20);

  /// Formats as stringWithFormat() does and logs the result.
  template <class... Arguments>
  static void log(std::string_view format, const Arguments&... arguments) {
    getInstance()._log(stringWithFormat(format, arguments...));
  }

  /// A number is taken for an HTTP status, a string stands as it is; anything else makes no entry.
  static void error(const JSONValue& object);
  static void error(const Error& error);
  static void error(const std::string& message);
  static void error(const char* message);
  template <class T, class = std::enable_if_t<std::is_arithmetic_v<T>>>
  static void error(T number) {
    error(JSONValue(number));
  }

  /// Logs a finished message. Line feeds in it are written as they are.
  void _log(std::string_view message);
  /// Returns once everything that was logged before the call has been handed to the file.
  void flush();
  const std::filesystem::path& logFilePath() const { return _logFilePath; }

  /// Removes the first log file, by name, when the folder holds ten or more, sub-folders counted. One at a
  /// time; intentional.
  static void handleFilesOfDirectory(const std::filesystem::path& folder);

 private:
  class Writer;

  std::filesystem::path _logFilePath;
  /// Shared with the block that writes.
  std::shared_ptr<Writer> _writer;
};

}  // namespace oq
