// SPDX-License-Identifier: Apache-2.0
#include "Utils/OQLogger.h"

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

#include "Foundation/Files/Bundle.h"
#include "Foundation/Files/FileHandle.h"
#include "Foundation/Files/FileManager.h"
#include "Foundation/Networking/URLSession.h"
#include "Foundation/System/Device.h"
#include "Foundation/Values/Date.h"
#include "Foundation/Values/Number.h"
#include "Utils/OQSDKBundleIdentifier.h"
#include "oqsdk/OQSDKConstants.h"

namespace oq {

const std::shared_ptr<DispatchQueue>& oq_log_get_dispatch_serial_queue() {
  static const auto& queue = *new std::shared_ptr(DispatchQueue::serial(OQSDK_BUNDLE_IDENTIFIER ".userlog"));
  return queue;
}

namespace {

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

/// The waiting entries and the file. Callers append to a buffer; the queue's block takes the whole buffer and writes it
/// in one call, without blocking callers meanwhile.
class OQLogger::Writer : public std::enable_shared_from_this<Writer> {
 public:
  Writer(std::unique_ptr<FileHandle> file, std::size_t memoryLimit) : _limit(memoryLimit), _file(std::move(file)) {}

  void appendHeader(const std::string& header) {
    append(header.size(), [&](std::string& pending) { pending.append(header); });
  }

  void appendEntry(std::string_view message) {
    append(message.size(), [&](std::string& pending) {
      // The time is read under the lock, so that entries are ordered by time.
      _clock.appendStamp(pending, currentDate());
      pending.append("  ").append(message).push_back('\n');
    });
  }

  /// Writes all waiting entries.
  void drain() {
    std::lock_guard writing(_fileMutex);
    {
      std::lock_guard lock(_mutex);
      _batch.swap(_pending);
      _bytesBeingWritten = _batch.size();
    }
    if (!_batch.empty()) _file->writeData(_batch);
    _batch.clear();
    if (_batch.capacity() > kKeptCapacity) _batch.shrink_to_fit();
    std::lock_guard lock(_mutex);
    _bytesBeingWritten = 0;
    _spaceFreed.notify_all();
  }

  /// From now on callers write their entries themselves: the queue's threads may be gone.
  void finish() {
    {
      std::lock_guard lock(_mutex);
      _isFinishing = true;
    }
    drain();
  }

 private:
  static constexpr std::size_t kKeptCapacity = 1 << 20;

  template <class Append>
  void append(std::size_t size, const Append& appendTo) {
    if (!_file) return;
    std::unique_lock lock(_mutex);
    waitForSpace(lock, size);
    appendTo(_pending);
    bool finishing = _isFinishing;
    bool firstInLine = !finishing && !std::exchange(_isDrainQueued, true);
    lock.unlock();
    if (finishing) drain();
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
  /// Guards all members up to the next mutex. Callers hold it only to append.
  std::mutex _mutex;
  std::condition_variable _spaceFreed;
  Clock _clock;
  std::string _pending;
  std::size_t _bytesBeingWritten = 0;
  bool _isDrainQueued = false;
  bool _isFinishing = false;
  /// Guards the file and the batch. Locked before _mutex.
  std::mutex _fileMutex;
  std::string _batch;
  /// nullptr if the file could not be created; entries are then dropped.
  const std::unique_ptr<FileHandle> _file;
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

OQLogger::OQLogger() : OQLogger(documentsDirectory() / "Log") {}

OQLogger::OQLogger(const std::filesystem::path& folder, std::size_t memoryLimit) {
  createDirectory(folder);
  handleFilesOfDirectory(folder);
  std::string name = "oqsdk_" + DateFormatter("yyyy-MM-dd HH:mm:ss").stringFromDate(currentDate()) + ".log";
  _logFilePath = folder / name;
  _writer = std::make_shared<Writer>(FileHandle::createForWriting(_logFilePath), memoryLimit);
  _writer->appendHeader(stringWithFormat("SDKVersion:%@\n设备名称:%@\n手机系统版本:%@\n应用版本号:%@\n\n", OQSDKVersion,
                                         machineIdentifier(), operatingSystemVersion(), mainBundleShortVersion()));
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
  if (object.is_string()) return getInstance()._log(object.get_string());
  if (!object.is_number() && !object.is_bool()) return;
  // "descripton" is the intended spelling in the log, here and below.
  log("statusCode:%@\ndescripton:%@\n", object, localizedStringForStatusCode(integerValue(object)));
}

void OQLogger::error(const Error& error) {
  log("code:%@\ndescripton:%@\n", error.code, error.localizedDescription);
}

void OQLogger::error(const std::string& message) {
  getInstance()._log(message);
}

void OQLogger::error(const char* message) {
  if (message) getInstance()._log(message);
}

}  // namespace oq
