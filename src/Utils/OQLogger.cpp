// SPDX-License-Identifier: Apache-2.0
#include "Utils/OQLogger.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <limits>
#include <mutex>
#include <new>
#include <system_error>
#include <utility>
#include <vector>

#include "Foundation/Files/Bundle.h"
#include "Foundation/Files/FileHandle.h"
#include "Foundation/Files/FileManager.h"
#include "Foundation/Networking/URLSession.h"
#include "Foundation/System/Device.h"
#include "Foundation/Values/Date.h"
#include "Foundation/Values/Number.h"
#include "Utils/OQConsent.h"
#include "Utils/OQGuard.h"
#include "Utils/OQSDKBundleIdentifier.h"
#include "oqsdk/OQSDKConstants.h"

namespace oq {

const std::shared_ptr<DispatchQueue>& oq_log_get_dispatch_serial_queue() {
  static const auto& queue = *new std::shared_ptr(DispatchQueue::serial(OQSDK_BUNDLE_IDENTIFIER ".userlog"));
  return queue;
}

namespace {

/// The value of mostBytes without a limit.
constexpr std::uint64_t kNoLimit = std::numeric_limits<std::uint64_t>::max();
/// The largest size of a log file, in bytes; 0 if no file is wanted.
std::atomic<std::uint64_t> mostBytes{kNoLimit};

std::uint64_t fileLimit() {
  return mostBytes.load(std::memory_order_relaxed);
}

bool isFileWanted() {
  return fileLimit() != 0 && !OQConsent::isMissing();
}

bool isOnLogQueue() {
  return DispatchQueue::currentLabel() == oq_log_get_dispatch_serial_queue()->label();
}

/// Formats the time stamps of entries; the part up to the second is formatted once per second.
class Clock {
 public:
  void appendStamp(std::string& text, Date now) {
    auto second = std::chrono::floor<std::chrono::seconds>(now);
    if (_secondText.empty() || second != _second) {
      _second = second;
      _secondText = _formatter.stringFromDate(second);
    }
    auto milliseconds = std::chrono::floor<std::chrono::milliseconds>(now - second).count();
    const char digits[] = {'.', static_cast<char>('0' + milliseconds / 100),
                           static_cast<char>('0' + milliseconds / 10 % 10), static_cast<char>('0' + milliseconds % 10)};
    text.append(_secondText).append(digits, sizeof digits);
  }

 private:
  const DateFormatter _formatter{"yyyy-MM-dd HH:mm:ss"};
  std::chrono::sys_seconds _second{};
  std::string _secondText;
};

}  // namespace

/// The waiting entries and the file. Callers append to a buffer; a block on the log queue takes the whole buffer and
/// writes it in one call, without blocking callers meanwhile.
class OQLogger::Writer : public std::enable_shared_from_this<Writer> {
 public:
  Writer(std::filesystem::path folder, std::size_t memoryLimit) : _limit(memoryLimit), _folder(std::move(folder)) {}

  /// Begins the first file of this run. Its header is written as soon as the log queue runs.
  void start() {
    if (!isFileWanted()) return;
    {
      std::lock_guard writing(_fileMutex);
      if (!beginFile()) return;
    }
    wakeQueue(std::unique_lock(_mutex));
  }

  void appendEntry(std::string_view message) {
    if (!acceptsEntries()) return;
    std::unique_lock lock(_mutex);
    waitForSpace(lock, message.size());
    // The time is read under the lock, so that entries are ordered by time.
    _clock.appendStamp(_pending, currentDate());
    _pending.append("  ").append(message).push_back('\n');
    if (fileLimit() != kNoLimit) _pendingEnds.push_back(_pending.size());
    wakeQueue(std::move(lock));
  }

  /// Writes all waiting entries.
  void drain() {
    std::lock_guard writing(_fileMutex);
    {
      std::lock_guard lock(_mutex);
      _batch.swap(_pending);
      _batchEnds.swap(_pendingEnds);
      _bytesBeingWritten = _batch.size();
    }
    guarded([&] { writeBatch(); });
    _batch.clear();
    _batchEnds.clear();
    if (_batch.capacity() > kKeptCapacity) _batch.shrink_to_fit();
    std::lock_guard lock(_mutex);
    _bytesBeingWritten = 0;
    _spaceFreed.notify_all();
  }

  /// Called at process exit. From now on callers write their entries themselves, because the threads of the log queue
  /// may be gone.
  void finish() {
    {
      std::lock_guard lock(_mutex);
      _isFinishing = true;
    }
    drain();
  }

  void removeFiles() {
    std::lock_guard writing(_fileMutex);
    {
      std::lock_guard lock(_mutex);
      _pending.clear();
      _pendingEnds.clear();
    }
    _file.reset();
    _header.clear();
    for (const auto& entry : enumerateDirectory(_folder)) {
      if (entry.extension() == ".log") removeItem(_folder, entry);
    }
    if (isFileWanted() && beginFile()) write("");
  }

  std::filesystem::path file() const {
    std::lock_guard lock(_mutex);
    return _path;
  }

  bool acceptsEntries() const {
    if (!isFileWanted()) return false;
    // Without a limit, new entries do not cause another attempt after a file could not be created.
    return fileLimit() != kNoLimit || !_hasFailed.load(std::memory_order_relaxed);
  }

 private:
  static constexpr std::size_t kKeptCapacity = 1 << 20;

  /// Writes the batch or, if no file is wanted now, drops it.
  void writeBatch() {
    if (!isFileWanted()) {
      if (fileLimit() == 0) _file.reset();
      return;
    }
    if (!_file && (_batch.empty() || !beginFile())) return;
    const std::string_view batch = _batch;
    const std::uint64_t limit = fileLimit();
    _batchEnds.push_back(batch.size());
    std::size_t begin = 0, end = 0;
    for (const std::size_t next : _batchEnds) {
      const bool hasEntries = _hasEntries || end > begin;
      const bool isFull = limit != kNoLimit && _size + _header.size() + (next - begin) > limit;
      if (isFull && hasEntries && next > end) {
        write(batch.substr(begin, end - begin));
        begin = end;
        if (!beginFile()) return;
      }
      end = next;
    }
    write(batch.substr(begin));
  }

  /// Writes the entries. The header, if it has not been written yet, is written in the same call.
  void write(std::string_view entries) {
    if (!entries.empty()) _hasEntries = true;
    _size += _header.size() + entries.size();
    if (_header.empty()) {
      if (!entries.empty()) _file->writeData(entries);
      return;
    }
    _file->writeData(std::exchange(_header, "").append(entries));
  }

  bool beginFile() {
    _file.reset();
    createDirectory(_folder);
    handleFilesOfDirectory(_folder);
    const auto [path, second] = createFile();
    _hasFailed = !_file;
    std::lock_guard lock(_mutex);
    _path = path;
    if (!_file) return false;
    _begun = second;
    _size = 0;
    _hasEntries = false;
    _header = stringWithFormat("SDKVersion:%@\n设备名称:%@\n手机系统版本:%@\n应用版本号:%@\n\n", OQSDKVersion,
                               machineIdentifier(), operatingSystemVersion(), mainBundleShortVersion());
    return true;
  }

  using Second = std::chrono::sys_seconds;

  /// Creates a file with the current second as its name. Without a limit, the first file of a run replaces a file of
  /// that name. For any other file the name is the first second that is not before now, later than the name of the
  /// previous file, and not the name of an existing file. So the names stay in order if several files begin in one
  /// second.
  std::pair<std::filesystem::path, Second> createFile() {
    constexpr int kMostTries = 1000;
    const DateFormatter formatter("yyyy-MM-dd HH:mm:ss");
    const auto pathAt = [&](Second second) { return _folder / ("oqsdk_" + formatter.stringFromDate(second) + ".log"); };
    Second second = std::chrono::floor<std::chrono::seconds>(currentDate());
    if (fileLimit() == kNoLimit && !_begun) {
      _file = FileHandle::createForWriting(pathAt(second));
      return {pathAt(second), second};
    }
    if (_begun) second = std::max(second, *_begun + std::chrono::seconds(1));
    for (int tries = 0; tries < kMostTries && !_file; ++tries, second += std::chrono::seconds(1)) {
      const auto path = pathAt(second);
      _file = FileHandle::createNew(path);
      if (_file) return {path, second};
      std::error_code error;
      if (!std::filesystem::exists(std::filesystem::symlink_status(path, error))) break;
    }
    return {pathAt(second), second};
  }

  void wakeQueue(std::unique_lock<std::mutex> lock) {
    const bool isFinishing = _isFinishing;
    const bool firstInLine = !isFinishing && !std::exchange(_isDrainQueued, true);
    lock.unlock();
    if (isFinishing) drain();
    if (firstInLine) queueDrain();
  }

  void waitForSpace(std::unique_lock<std::mutex>& lock, std::size_t size) {
    auto waiting = [this] { return _pending.size() + _bytesBeingWritten; };
    if (waiting() + size <= _limit || isOnLogQueue()) return;
    _spaceFreed.wait(lock, [&] { return _isFinishing || waiting() == 0 || waiting() + size <= _limit; });
  }

  void queueDrain() try {
    oq_log_get_dispatch_serial_queue()->async([self = shared_from_this()] { self->drainInTurn(); });
  } catch (const std::bad_alloc&) {
    std::lock_guard lock(_mutex);
    _isDrainQueued = false;  // the next entry tries again
  }

  /// Writes one batch per block, so that other work on the queue runs even during constant logging.
  void drainInTurn() {
    drain();
    {
      std::lock_guard lock(_mutex);
      _isDrainQueued = !_pending.empty();
      if (!_isDrainQueued) return;
    }
    queueDrain();
  }

  const std::size_t _limit;
  const std::filesystem::path _folder;
  std::atomic<bool> _hasFailed{false};  ///< whether the last attempt to begin a file failed
  /// Guards the members below, up to _fileMutex. Callers that log hold it only while they append an entry.
  mutable std::mutex _mutex;
  std::condition_variable _spaceFreed;
  Clock _clock;
  std::string _pending;
  std::vector<std::size_t> _pendingEnds;  ///< where each entry ends; only while files have a limit
  std::filesystem::path _path;
  std::size_t _bytesBeingWritten = 0;
  bool _isDrainQueued = false;
  bool _isFinishing = false;
  /// Guards the members below: the file, and the batch that is being written to it. Locked before _mutex.
  std::mutex _fileMutex;
  std::string _batch;
  std::vector<std::size_t> _batchEnds;
  /// nullptr before the first file, and if the file could not be created; entries are then dropped.
  std::unique_ptr<FileHandle> _file;
  std::optional<Second> _begun;  ///< the time in the name of the last file
  std::string _header;           ///< of the file; empty after it was written
  std::uint64_t _size = 0;
  bool _hasEntries = false;
};

Class* OQLogger::staticClass() {
  static Class* registered = registerClass("OQLogger", Object::staticClass());
  return registered;
}

OQLogger& OQLogger::getInstance() {
  static OQLogger& shared = [&]() -> OQLogger& {
    auto& logger = *new OQLogger();
    std::atexit([] { getInstance()._writer->finish(); });
    return logger;
  }();
  return shared;
}

OQLogger::OQLogger() : OQLogger(applicationDataDirectory() / "Documents" / "Log") {}

OQLogger::OQLogger(const std::filesystem::path& folder, std::size_t memoryLimit)
    : _writer(std::make_shared<Writer>(folder, memoryLimit)) {
  _writer->start();
}

std::filesystem::path OQLogger::logFilePath() const {
  return _writer->file();
}

void OQLogger::setFileLimit(std::optional<std::uint64_t> bytes) {
  mostBytes = bytes.value_or(kNoLimit);
}

void OQLogger::removeFiles() {
  getInstance()._writer->removeFiles();
}

bool OQLogger::isWanted() {
  return !OQConsent::isMissing() && (fileLimit() != 0 || OQLogHandler::isWanted());
}

void OQLogger::put(OQLogLevel level, std::string_view message) {
  // The writer of the file checks the consent itself.
  if (fileLimit() != 0) getInstance()._log(message);
  if (OQLogHandler::isWanted() && !OQConsent::isMissing()) OQLogHandler::pass(level, message);
}

void OQLogger::handleFilesOfDirectory(const std::filesystem::path& folder) {
  std::vector<std::filesystem::path> logs;
  for (const auto& entry : enumerateDirectory(folder)) {
    if (entry.extension() == ".log") logs.push_back(entry);
  }
  if (logs.size() >= 10) removeItem(folder, logs.front());
}

void OQLogger::_log(std::string_view message) {
  _writer->appendEntry(message);
}

void OQLogger::flush() {
  if (isOnLogQueue()) return _writer->drain();
  oq_log_get_dispatch_serial_queue()->sync([this] { _writer->drain(); });
}

void OQLogger::error(const JSONValue& object) {
  if (object.is_string()) return put(OQLogLevel::Error, object.get_string());
  if (!isWanted() || (!object.is_number() && !object.is_bool())) return;
  // "descripton" is the intended spelling in the log, here and below.
  put(OQLogLevel::Error,
      stringWithFormat("statusCode:%@\ndescripton:%@\n", object, localizedStringForStatusCode(integerValue(object))));
}

void OQLogger::error(const Error& error) {
  if (!isWanted()) return;
  put(OQLogLevel::Error, stringWithFormat("code:%@\ndescripton:%@\n", error.code, error.localizedDescription));
}

void OQLogger::error(const std::string& message) {
  put(OQLogLevel::Error, message);
}

void OQLogger::error(const char* message) {
  if (message) put(OQLogLevel::Error, message);
}

}  // namespace oq
