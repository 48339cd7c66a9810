// SPDX-License-Identifier: Apache-2.0

// User defaults compared with plain SQLite: an upsert into a table of the same form, in WAL mode. Two kinds of
// durability are compared: each value is on the disk when the call returns (as for the library's own settings), and
// each value is in the database (it survives a crash of the process).
#include <sqlite3.h>

#include "Foundation/Files/FileManager.h"
#include "Foundation/Stores/UserDefaults.h"
#include "Measure.h"
#include "Storage/OQUserDefaults.h"

namespace {

using namespace oq;
using namespace oq::bench;

constexpr int kRounds = 21;
constexpr int kKeys = 8;

/// The other side of the comparison: only SQLite calls, with statements prepared once.
class Upsert {
 public:
  Upsert(const std::filesystem::path& file, const std::string& synchronous) {
    require(sqlite3_open(file.c_str(), &_connection) == SQLITE_OK, "SQLite cannot open the database");
    execute("PRAGMA journal_mode=WAL");
    execute("PRAGMA synchronous=" + synchronous);
    execute(
        "CREATE TABLE entries(key TEXT NOT NULL PRIMARY KEY, kind INTEGER NOT NULL, value NOT NULL) WITHOUT "
        "ROWID");
    _upsert = prepare("INSERT INTO entries VALUES(?1, 0, ?2) ON CONFLICT(key) DO UPDATE SET kind=0, value=?2");
    _select = prepare("SELECT value FROM entries WHERE key=?1");
  }
  ~Upsert() {
    sqlite3_finalize(_upsert);
    sqlite3_finalize(_select);
    sqlite3_close(_connection);
  }
  Upsert(const Upsert&) = delete;
  Upsert& operator=(const Upsert&) = delete;

  void set(const std::string& key, const std::string& value) {
    bind(_upsert, 1, key);
    bind(_upsert, 2, value);
    require(sqlite3_step(_upsert) == SQLITE_DONE, "SQLite did not store the value");
    sqlite3_reset(_upsert);
  }
  std::string get(const std::string& key) {
    bind(_select, 1, key);
    require(sqlite3_step(_select) == SQLITE_ROW, "SQLite did not find the value");
    std::string value = reinterpret_cast<const char*>(sqlite3_column_text(_select, 0));
    sqlite3_reset(_select);
    return value;
  }

 private:
  void execute(const std::string& sql) {
    require(sqlite3_exec(_connection, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK, sql);
  }
  sqlite3_stmt* prepare(const char* sql) {
    sqlite3_stmt* statement = nullptr;
    require(sqlite3_prepare_v2(_connection, sql, -1, &statement, nullptr) == SQLITE_OK, sql);
    return statement;
  }
  static void bind(sqlite3_stmt* statement, int index, const std::string& text) {
    sqlite3_bind_text(statement, index, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
  }

  sqlite3* _connection = nullptr;
  sqlite3_stmt* _upsert = nullptr;
  sqlite3_stmt* _select = nullptr;
};

std::string keyOf(int number) {
  return "oq_setting_" + std::to_string(number % kKeys);
}

/// A new value for every call, about as long as a session token.
std::string nextValue() {
  static int number = 0;
  return "token-" + std::to_string(1'000'000'000 + ++number) + "-of-the-session";
}

/// The average duration of `count` calls in seconds.
template <class Call>
double each(int count, Call call) {
  return secondsOf([&] {
           for (int i = 0; i < count; ++i) call(i);
         }) /
         count;
}

/// Returns the text in quotes. User defaults store strings as JSON, so with quotes both sides write the same bytes.
std::string quoted(const std::string& text) {
  return '"' + text + '"';
}

void compareChangedValues(OQUserDefaults& settings, UserDefaults& suite, const std::filesystem::path& folder) {
  Upsert full(folder / "full.sqlite", "FULL"), normal(folder / "normal.sqlite", "NORMAL");
  auto [our, peer] = inTurns(
      kRounds, [&] { return each(100, [&](int i) { settings.setObject(JSONValue(nextValue()), keyOf(i)); }); },
      [&] { return each(100, [&](int i) { full.set(keyOf(i), quoted(nextValue())); }); });
  atMost("user_defaults_changed_on_disk_vs_sqlite", medianRatio(our, peer), 1.3);
  note("user_defaults_changed_on_disk", 1e6 * median(our), "us");
  note("sqlite_upsert_full", 1e6 * median(peer), "us");

  auto [ourWrite, peerWrite] = inTurns(
      kRounds, [&] { return each(2000, [&](int i) { suite.setObject(JSONValue(nextValue()), keyOf(i)); }); },
      [&] { return each(2000, [&](int i) { normal.set(keyOf(i), quoted(nextValue())); }); });
  atMost("user_defaults_changed_vs_sqlite", medianRatio(ourWrite, peerWrite), 1.3);
  note("user_defaults_changed", 1e6 * median(ourWrite), "us");
  note("sqlite_upsert_normal", 1e6 * median(peerWrite), "us");
  require(std::get<JSONValue>(suite.objectForKey(keyOf(1999))).is_string(), "the value was not kept");
}

void compareUnchangedAndReads(OQUserDefaults& settings, const std::filesystem::path& folder) {
  Upsert peer(folder / "unchanged.sqlite", "NORMAL");
  const std::string key = "envType", text = nextValue();
  const JSONValue value(text);
  settings.setObject(value, key);
  peer.set(key, text);
  constexpr int count = 2000;
  auto [unchanged, read, peerUnchanged, peerRead] = inTurns(
      kRounds, [&] { return each(100 * count, [&](int) { settings.setObject(value, key); }); },
      [&] { return each(10 * count, [&](int) { keep(settings.objectForKey(key)); }); },
      [&] { return each(count, [&](int) { peer.set(key, text); }); },
      [&] { return each(count, [&](int) { keep(peer.get(key)); }); });
  require(settings.objectForKey(key) == value, "the value is not read back");
  atMost("user_defaults_unchanged_ns", 1e9 * median(unchanged), 200);
  atMost("user_defaults_read_ns", 1e9 * median(read), 2000);
  note("sqlite_upsert_of_the_same", 1e9 * median(peerUnchanged), "ns");
  note("sqlite_select", 1e9 * median(peerRead), "ns");
}

}  // namespace

int main() {
  ScratchFolder folder;
  setApplicationDataDirectory(folder.path());
  OQUserDefaults& settings = OQUserDefaults::defaultsWithName("group.bench");
  compareChangedValues(settings, *UserDefaults::withSuiteName("group.bench.unsynchronized"), folder.path());
  compareUnchangedAndReads(settings, folder.path());
  closeAllUserDefaults();
}
