// SPDX-License-Identifier: Apache-2.0
#include "Foundation/Stores/DefaultsDatabase.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>

#include "Foundation/Files/FileManager.h"
#include "Foundation/Stores/ReadOnlySQLite.h"
#include "Foundation/Values/JSONSerialization.h"

namespace oq {
namespace {

constexpr const char* kSchema =
    "CREATE TABLE entries(key TEXT NOT NULL PRIMARY KEY, kind INTEGER NOT NULL, value NOT NULL) WITHOUT "
    "ROWID";
constexpr std::int64_t kApplicationId = 0x4F515544;  // "OQUD"

enum Kind : int { JSONText = 0, Bytes = 1, Nanoseconds = 2 };

/// The file as a URI for SQLite with one parameter, for example "mode=ro".
std::string addressOf(const std::filesystem::path& file, const char* option) {
  std::string address = "file:";
  for (char c : file.string()) {
    if (c == '%' || c == '?' || c == '#') {
      constexpr const char* Digits = "0123456789ABCDEF";
      address += {'%', Digits[c >> 4], Digits[c & 15]};
    } else {
      address.push_back(c);
    }
  }
  return address + "?" + option;
}

int bindText(sqlite3_stmt* statement, int index, std::string_view text) {
  // An empty string_view may have a null pointer, which SQLite would bind as NULL instead of an empty string.
  const char* bytes = text.empty() ? "" : text.data();
  return sqlite3_bind_text64(statement, index, bytes, text.size(), SQLITE_STATIC, SQLITE_UTF8);
}

/// Runs a function when the scope is left, also by an exception, for example when memory runs out.
template <class Run>
class AtEnd {
 public:
  explicit AtEnd(Run run) : _run(std::move(run)) {}
  ~AtEnd() { _run(); }
  AtEnd(const AtEnd&) = delete;
  AtEnd& operator=(const AtEnd&) = delete;

 private:
  Run _run;
};

std::string_view bytesOf(sqlite3_stmt* row, int column) {
  auto* bytes = static_cast<const char*>(sqlite3_column_blob(row, column));
  return {bytes, static_cast<std::size_t>(sqlite3_column_bytes(row, column))};
}

/// A row with an unknown kind or type, written by another program, counts as missing.
PropertyValue propertyOf(sqlite3_stmt* row) {
  int type = sqlite3_column_type(row, 1);
  int kind = sqlite3_column_int(row, 0);
  if (kind == Nanoseconds && type == SQLITE_INTEGER) {
    return Date(std::chrono::duration_cast<Date::duration>(std::chrono::nanoseconds(sqlite3_column_int64(row, 1))));
  }
  if (type != SQLITE_BLOB && type != SQLITE_TEXT) return JSONValue();
  Data bytes = dataFromString(bytesOf(row, 1));
  if (kind == Bytes && type == SQLITE_BLOB) return bytes;
  if (kind == JSONText && type == SQLITE_TEXT) return valueWithJSONData(bytes).value_or(JSONValue());
  return JSONValue();
}

}  // namespace

std::optional<PropertyValue> DefaultsDatabase::read(std::string_view key) {
  WriteSignalGuard guard;
  if (!open(Foreign::Keep)) return std::nullopt;
  AtEnd ending([this] {
    finish(_select.get());
    if (_isForOneRead) close();
  });
  bindText(_select.get(), 1, key);
  int result = sqlite3_step(_select.get());
  if (result == SQLITE_ROW) return propertyOf(_select.get());
  return result == SQLITE_DONE ? std::optional<PropertyValue>(JSONValue()) : std::nullopt;
}

bool DefaultsDatabase::write(std::string_view key, const PropertyValue& value) {
  std::string text;
  if (auto* object = std::get_if<JSONValue>(&value)) text = compactJSON(*object);
  return change(_upsert, [&](sqlite3_stmt* statement) {
    bindText(statement, 1, key);
    sqlite3_bind_int64(statement, 2, static_cast<std::int64_t>(value.index()));
    if (auto* data = std::get_if<Data>(&value)) {
      const void* bytes = data->empty() ? static_cast<const void*>("") : data->data();
      return sqlite3_bind_blob64(statement, 3, bytes, data->size(), SQLITE_STATIC);
    }
    if (auto* date = std::get_if<Date>(&value)) {
      auto sinceEpoch = std::chrono::duration_cast<std::chrono::nanoseconds>(date->time_since_epoch());
      return sqlite3_bind_int64(statement, 3, sinceEpoch.count());
    }
    return bindText(statement, 3, text);
  });
}

bool DefaultsDatabase::remove(std::string_view key) {
  return change(_delete, [&](sqlite3_stmt* statement) { return bindText(statement, 1, key); });
}

template <class Bind>
bool DefaultsDatabase::change(const Statement& statement, Bind bind) {
  if (!mayWriteFiles()) return false;
  WriteSignalGuard guard;
  if (_connection && (_isForOneRead || !isStillInPlace())) close();
  // If the first round finds that the file is damaged, the second round replaces the file.
  for (int round = 0; round < 2; ++round) {
    if (!open(Foreign::Replace)) return false;
    if (bind(statement.get()) != SQLITE_OK) return sqlite3_clear_bindings(statement.get()), false;
    const bool isDone = sqlite3_step(statement.get()) == SQLITE_DONE;
    if (finish(statement.get()) && isDone) {
      ++_writes;
      return true;
    }
    if (_connection) return false;
  }
  return false;
}

bool DefaultsDatabase::changedElsewhere() {
  WalIndexHeader header{};
  if (_connection && _walIndex) {
    header = walIndexHeader();
    if (header == _knownHeader && !_reopened) return false;
  }
  WriteSignalGuard guard;
  if (!open(Foreign::Keep)) return true;
  auto version = integerOf(_dataVersion.get());
  bool changed = !version || *version != _knownVersion || _reopened;
  _reopened = false;
  if (version) {
    _knownVersion = *version;
    _knownHeader = header;  // the header from before the query, so that no later change is missed
  }
  return changed;
}

bool DefaultsDatabase::flush() {
  if (_writes == _flushedWrites) return true;
  if (!_connection) return false;
  WriteSignalGuard guard;
  // Flushing the write-ahead log is enough: SQLite reads the values from the log, and flushes the log before it copies
  // them into the database. A checkpoint would take three flushes instead of one.
  sqlite3_file* log = nullptr;
  sqlite3_file_control(_connection, "main", SQLITE_FCNTL_JOURNAL_POINTER, &log);
  if (log && log->pMethods && log->pMethods->xSync(log, SQLITE_SYNC_NORMAL) != SQLITE_OK) return false;
  _flushedWrites = _writes;
  _isLogEntered = log != nullptr;
  return true;
}

std::optional<DefaultsDatabase::Log> DefaultsDatabase::unflushedLog() const {
  if (_writes == _flushedWrites || !_connection || !_isLogEntered) return std::nullopt;
  // Closing a descriptor releases all POSIX locks that the process has on the file. SQLite has none on the log.
  FileDescriptor file(::open((_file.string() + "-wal").c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
  return file ? std::optional(Log{std::move(file), _writes}) : std::nullopt;
}

void DefaultsDatabase::noteFlushed(const Log& log) {
  _flushedWrites = std::max(_flushedWrites, log.writes);
}

void DefaultsDatabase::close() {
  if (!_connection) return;
  flush();
  WriteSignalGuard guard;
  for (Statement* statement : {&_select, &_upsert, &_delete, &_dataVersion}) statement->reset();
  _walIndex = nullptr;
  _isLogEntered = false;
  // While no files may be written, closing must not copy the log into the database and remove the log.
  if (!mayWriteFiles()) sqlite3_db_config(_connection, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  sqlite3_close_v2(std::exchange(_connection, nullptr));
}

bool DefaultsDatabase::open(Foreign treatment) {
  if (_connection) return true;
  if (!mayWriteFiles()) return openReadOnly();
  // Reading does not create a database.
  std::error_code unknown;
  if (treatment == Foreign::Keep && !std::filesystem::exists(_file, unknown)) return false;
  if (!createDirectory(_file.parent_path())) return false;
  std::optional<FileDescriptor> lock = lockSetup();
  // If no lock file can be created, no process can create a database here, but an existing database can be read.
  if (!lock || (!*lock && treatment == Foreign::Replace)) return false;
  State state = State::Unavailable;
  AtEnd ending([&] {
    if (state != State::Usable) close();
  });
  auto reopen = [&](Sharing sharing) {
    close();
    state = State::Unavailable;
    state = openFile(sharing);
  };
  reopen(Sharing::Shared);
  if (state == State::Unavailable && treatment == Foreign::Keep) {
    // On a full disk SQLite cannot even create the shared index of the log. The log is then read with an index in
    // memory, which locks out other processes until the value has been read.
    reopen(Sharing::Exclusive);
    bool isReadOnly = ::access(_file.parent_path().c_str(), W_OK) != 0;
    if (state == State::Unavailable && isReadOnly) reopen(Sharing::Immutable);
  }
  if (state == State::Foreign && treatment == Foreign::Replace) {
    close();
    removeFiles();
    reopen(Sharing::Shared);
  }
  _reopened = true;
  return state == State::Usable;
}

bool DefaultsDatabase::openReadOnly() {
  State state = State::Unavailable;
  AtEnd ending([&] {
    if (state != State::Usable) close();
  });
  std::error_code error;
  const bool hasLog = std::filesystem::exists(_file.string() + "-wal", error);
  if (hasLog) state = openFile(Sharing::ReadOnly);
  if (state == State::Usable) return true;
  // Without a log, everything is in the database. If the log cannot be read, at least the database can.
  close();
  state = openFile(Sharing::Immutable);
  return state == State::Usable;
}

DefaultsDatabase::State DefaultsDatabase::openFile(Sharing sharing) {
  // Creates the file before SQLite does, because SQLite would apply the umask to its mode. SQLite gives its other files
  // the mode of this one.
  bool isFixed = sharing == Sharing::Immutable || sharing == Sharing::ReadOnly;
  if (!isFixed) {
    FileDescriptor made(::open(_file.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (made) ::fchmod(made.get(), 0600);
  }
  const char* option = sharing == Sharing::ReadOnly ? "mode=ro" : "immutable=1";
  std::string name = isFixed ? addressOf(_file, option) : _file.string();
  int flags = SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_PRIVATECACHE |
              (isFixed ? SQLITE_OPEN_READONLY | SQLITE_OPEN_URI : SQLITE_OPEN_READWRITE);
  const char* vfs = isFixed ? readOnlySQLiteVFS() : nullptr;
  if (sqlite3_open_v2(name.c_str(), &_connection, flags, vfs) != SQLITE_OK) return State::Unavailable;
  bool isReadOnly = sqlite3_db_readonly(_connection, "main") == 1;
  _isForOneRead = sharing != Sharing::Shared || isReadOnly;
  if (sharing == Sharing::Shared) sqlite3_busy_handler(_connection, &waitWhileBusy, this);
  if (sharing == Sharing::ReadOnly) sqlite3_db_config(_connection, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  if (sharing == Sharing::Exclusive || sharing == Sharing::ReadOnly) execute("PRAGMA locking_mode=EXCLUSIVE");
  sqlite3_db_config(_connection, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);

  State state = identify();
  if (state != State::Usable && state != State::Empty) return state;
  execute("PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL; PRAGMA journal_size_limit=4194304");
  if (state == State::Empty && !createSchema()) return State::Unavailable;
  if (!prepareStatements()) return State::Unavailable;
  struct stat status {};
  _inode = ::stat(_file.c_str(), &status) == 0 ? status.st_ino : 0;
  _isDamaged = false;
  if (!_isForOneRead) mapWalIndex();
  return State::Usable;
}

/// Identifies the file before anything is written. A foreign file is left unchanged until a value must be stored.
DefaultsDatabase::State DefaultsDatabase::identify() {
  auto id = integerOf(prepare("PRAGMA application_id").get());
  auto objects = id ? integerOf(prepare("SELECT count(*) FROM sqlite_schema").get()) : std::nullopt;
  if (!objects) {
    int error = sqlite3_errcode(_connection);
    bool torn = error == SQLITE_NOTADB || error == SQLITE_CORRUPT;
    return torn ? State::Foreign : State::Unavailable;
  }
  if (*objects == 0 && (*id == 0 || *id == kApplicationId)) return State::Empty;
  Statement ours = prepare("SELECT count(*)=1 AND max(sql)=? FROM sqlite_schema WHERE name NOT LIKE 'sqlite_%'");
  bindText(ours.get(), 1, kSchema);
  if (*id != kApplicationId || integerOf(ours.get()) != 1) return State::Foreign;
  if (!_isDamaged) return State::Usable;
  // A page was found damaged earlier. Another process may have replaced the file since, so the file counts as foreign
  // only if it is still damaged.
  return integerOf(prepare("SELECT count(*)=1 AND max(quick_check)='ok' FROM pragma_quick_check(1)").get()) == 1
             ? State::Usable
             : State::Foreign;
}

bool DefaultsDatabase::createSchema() {
  std::string sql =
      "BEGIN IMMEDIATE; PRAGMA application_id=" + std::to_string(kApplicationId) + "; " + kSchema + "; COMMIT";
  if (execute(sql.c_str())) return true;
  execute("ROLLBACK");
  return false;
}

bool DefaultsDatabase::prepareStatements() {
  _select = prepare("SELECT kind, value FROM entries WHERE key=?1");
  _upsert = prepare("INSERT INTO entries VALUES(?1, ?2, ?3) ON CONFLICT(key) DO UPDATE SET kind=?2, value=?3");
  _delete = prepare("DELETE FROM entries WHERE key=?1");
  _dataVersion = prepare("PRAGMA data_version");
  return _select && _upsert && _delete && _dataVersion;
}

/// Finds the first 48 bytes of the log's shared index, which change with every commit of any process; their layout is
/// part of the file format. SQLite has mapped them already, so reading them costs no system call. If they cannot be
/// found, each check for changes runs "PRAGMA data_version".
void DefaultsDatabase::mapWalIndex() {
  constexpr int RegionSize = 32768;
  sqlite3_file* file = nullptr;
  sqlite3_file_control(_connection, "main", SQLITE_FCNTL_FILE_POINTER, &file);
  if (!file || !file->pMethods || file->pMethods->iVersion < 2) return;
  // Reading the version opens the index if it is not open yet.
  if (!integerOf(_dataVersion.get())) return;
  auto mode = prepare("SELECT journal_mode='wal' FROM pragma_journal_mode");
  if (integerOf(mode.get()) != 1) return;
  void volatile* region = nullptr;
  if (file->pMethods->xShmMap(file, 0, RegionSize, 0, &region) != SQLITE_OK) return;
  _walIndex = static_cast<const volatile std::uint64_t*>(region);
}

DefaultsDatabase::WalIndexHeader DefaultsDatabase::walIndexHeader() const {
  WalIndexHeader header;
  for (std::size_t i = 0; i < header.size(); ++i) header[i] = _walIndex[i];
  return header;
}

void DefaultsDatabase::removeFiles() {
  for (const char* suffix : {"-wal", "-shm", "-journal", ""}) ::unlink((_file.string() + suffix).c_str());
}

bool DefaultsDatabase::isStillInPlace() const {
  struct stat status {};
  return ::stat(_file.c_str(), &status) == 0 && status.st_ino == _inode;
}

/// Only one process may create or replace the file at a time. nullopt if another process holds the lock until the
/// deadline; an empty descriptor if locking is impossible.
std::optional<FileDescriptor> DefaultsDatabase::lockSetup() const {
  FileDescriptor lock(::open((_file.string() + "-lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (!lock) return FileDescriptor();
  ::fchmod(lock.get(), 0600);  // the umask may have cleared bits
  if (!lockFile(lock.get(), _deadline)) return std::nullopt;
  return lock;
}

int DefaultsDatabase::waitWhileBusy(void* database, int) {
  if (Clock::now() >= static_cast<DefaultsDatabase*>(database)->_deadline) return 0;
  std::this_thread::sleep_for(std::chrono::milliseconds(1));
  return 1;
}

DefaultsDatabase::Statement DefaultsDatabase::prepare(const char* sql) {
  sqlite3_stmt* statement = nullptr;
  sqlite3_prepare_v3(_connection, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
  return Statement(statement);
}

bool DefaultsDatabase::execute(const char* sql) {
  return sqlite3_exec(_connection, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

std::optional<std::int64_t> DefaultsDatabase::integerOf(sqlite3_stmt* statement) {
  if (!statement) return std::nullopt;
  bool hasRow = sqlite3_step(statement) == SQLITE_ROW;
  std::int64_t number = hasRow ? sqlite3_column_int64(statement, 0) : 0;
  sqlite3_reset(statement);
  return hasRow ? std::optional(number) : std::nullopt;
}

/// Resets a statement and clears its bindings; true if its last step succeeded. If SQLite found a damaged page, closes
/// the database.
bool DefaultsDatabase::finish(sqlite3_stmt* statement) {
  int result = sqlite3_reset(statement);
  sqlite3_clear_bindings(statement);
  if (result == SQLITE_CORRUPT || result == SQLITE_NOTADB) {
    _isDamaged = true;
    close();
  }
  return result == SQLITE_OK;
}

}  // namespace oq
