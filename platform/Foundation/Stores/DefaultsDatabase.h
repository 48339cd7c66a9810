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

/// The file behind one suite of user defaults: an SQLite database in WAL mode with a row a key. It is opened
/// at first use and again after close(). A file that is torn or not ours holds nothing, and is replaced by
/// the next write. Nothing here throws or ends the process, whatever the disk does. Not thread-safe: its
/// owner guards it.
class DefaultsDatabase {
 public:
  explicit DefaultsDatabase(std::filesystem::path file) : _file(std::move(file)) {}
  ~DefaultsDatabase() { close(); }
  DefaultsDatabase(const DefaultsDatabase&) = delete;
  DefaultsDatabase& operator=(const DefaultsDatabase&) = delete;

  using Clock = std::chrono::steady_clock;
  /// Other processes are waited for until then, and no longer. Set before each use.
  void waitUntil(Clock::time_point deadline) { _deadline = deadline; }

  /// A null JSONValue when the key has no entry; nullopt when the database cannot be asked at present.
  std::optional<PropertyValue> read(std::string_view key);
  bool write(std::string_view key, const PropertyValue& value);
  bool remove(std::string_view key);
  /// Whether what was read before the last call may have changed other than through this object. Without a
  /// write by anybody the answer costs no system call.
  bool changedElsewhere();
  /// Waits until every write has reached the disk.
  bool flush();
  /// The log as a file of its own, with what had been written to it: flushing it is what flush() does, and needs
  /// nothing of this object. Nothing when there is nothing to flush, or when only flush() can.
  struct Log {
    FileDescriptor file;
    std::uint64_t writes;
  };
  std::optional<Log> unflushedLog() const;
  /// The log has been flushed since it was given out.
  void noteFlushed(const Log& log);
  void close();

 private:
  enum class State { Usable, Empty, Foreign, Unavailable };
  enum class Foreign { Keep, Replace };
  /// With other processes; with nobody while the connection is open; with nobody who could change the file.
  enum class Sharing { Shared, Alone, Nobody };
  struct Finalizer {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };
  using Statement = std::unique_ptr<sqlite3_stmt, Finalizer>;
  using WalIndexHeader = std::array<std::uint64_t, 6>;

  bool open(Foreign treatment);
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
  bool _isDamaged = false;     ///< a page was found torn; the file is looked at more closely when it is opened again
  bool _isForOneRead = false;  ///< others are kept out, or not seen, while the connection is open
  Clock::time_point _deadline{};
  std::uint64_t _writes = 0, _flushedWrites = 0;
  bool _isLogEntered = false;  ///< the folder's entry for the log has reached the disk
  bool _reopened = false;
  std::int64_t _knownVersion = 0;
  const volatile std::uint64_t* _walIndex = nullptr;
  WalIndexHeader _knownHeader{};
};

}  // namespace oq
