// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sqlite3.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string_view>

#include "Foundation/Files/FileDescriptor.h"
#include "Foundation/PropertyLists/PropertyValue.h"

namespace oq {

/// The file of one suite of user defaults: an SQLite database in WAL mode with one row per key. It is opened at first
/// use and again after close(). A file that is damaged or has another format reads as empty, and is replaced by the
/// next write. While mayWriteFiles() returns false, values are read without touching any file. No error of the disk
/// makes a function throw or end the process. Not thread-safe: its owner must lock.
class DefaultsDatabase {
 public:
  explicit DefaultsDatabase(std::filesystem::path file) : _file(std::move(file)) {}
  ~DefaultsDatabase() { close(); }
  DefaultsDatabase(const DefaultsDatabase&) = delete;
  DefaultsDatabase& operator=(const DefaultsDatabase&) = delete;

  using Clock = std::chrono::steady_clock;
  /// Sets the time at which waiting for other processes ends. Call it before each use.
  void waitUntil(Clock::time_point deadline) { _deadline = deadline; }

  /// A null JSONValue if the key has no entry; nullopt if the database cannot be read at present.
  std::optional<PropertyValue> read(std::string_view key);
  bool write(std::string_view key, const PropertyValue& value);
  bool remove(std::string_view key);
  /// Whether another process may have written since the last call, so that values read earlier may be out of date.
  /// Makes no system call as long as no process writes.
  bool changedElsewhere();
  /// Blocks until every write of this object has reached the disk; false if that fails.
  bool flush();
  /// The write-ahead log, opened again, and the number of this object's writes at that time. Flushing `file` has the
  /// effect of flush() but does not use this object, so the owner need not hold its lock meanwhile.
  struct Log {
    FileDescriptor file;
    std::uint64_t writes;
  };
  /// nullopt if there is nothing to flush, or if the log's directory entry must be flushed too, which only flush()
  /// does.
  std::optional<Log> unflushedLog() const;
  /// Records that the log was flushed, so that flush() has nothing left to do for the writes in it.
  void noteFlushed(const Log& log);
  void close();

 private:
  enum class State { Usable, Empty, Foreign, Unavailable };
  enum class Foreign { Keep, Replace };
  enum class Sharing {
    Shared,     ///< other processes may read and write the file
    Exclusive,  ///< the file is locked while the connection is open
    ReadOnly,   ///< the database and its log are read; no file is changed or locked
    Immutable   ///< the database is read without its log and without a lock, as if no process changed it
  };
  struct Finalizer {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };
  using Statement = std::unique_ptr<sqlite3_stmt, Finalizer>;
  using WalIndexHeader = std::array<std::uint64_t, 6>;

  bool open(Foreign treatment);
  bool openReadOnly();
  State openFile(Sharing sharing);
  State identify();
  bool createSchema();
  bool prepareStatements();
  void mapWalIndex();
  void removeFiles();
  bool isStillInPlace() const;
  std::optional<FileDescriptor> lockSetup() const;
  static int waitWhileBusy(void* database, int attempts);

  Statement prepare(const char* sql);
  bool execute(const char* sql);
  std::optional<std::int64_t> integerOf(sqlite3_stmt* statement);
  template <class Bind>
  bool change(const Statement& statement, Bind bind);
  bool finish(sqlite3_stmt* statement);
  WalIndexHeader walIndexHeader() const;

  const std::filesystem::path _file;
  sqlite3* _connection = nullptr;
  Statement _select, _upsert, _delete, _dataVersion;
  std::uint64_t _inode = 0;
  bool _isDamaged = false;     ///< a page was found damaged: the next open() checks the file more thoroughly
  bool _isForOneRead = false;  ///< the connection locks out other processes or misses their writes: one read only
  Clock::time_point _deadline{};
  std::uint64_t _writes = 0, _flushedWrites = 0;
  bool _isLogEntered = false;  ///< the log's directory entry has reached the disk
  bool _reopened = false;
  std::int64_t _knownVersion = 0;
  const volatile std::uint64_t* _walIndex = nullptr;
  WalIndexHeader _knownHeader{};
};

}  // namespace oq
