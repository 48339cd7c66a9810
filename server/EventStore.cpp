// SPDX-License-Identifier: Apache-2.0
#include "EventStore.h"

#include <openssl/rand.h>

#include <algorithm>
#include <stdexcept>

#include "CalendarTime.h"

namespace oq::server {

namespace {

// A listing ends when its events reach this number of bytes, even if it has fewer events than its limit, so that large
// events cannot exhaust the memory.
constexpr std::size_t largestListing = 8u << 20;

Database openDatabase(const std::filesystem::path& file) {
  Database database(file);
  // With synchronous = FULL, an acknowledged event also survives a power failure.
  database.execute(R"(
    PRAGMA journal_mode = WAL;
    PRAGMA synchronous = FULL;
    CREATE TABLE IF NOT EXISTS tokens (
      id INTEGER PRIMARY KEY AUTOINCREMENT, token TEXT NOT NULL UNIQUE, time TEXT NOT NULL,
      app_key TEXT NOT NULL, device TEXT NOT NULL);
    CREATE INDEX IF NOT EXISTS tokens_of_device ON tokens (app_key, device, id);
    CREATE TABLE IF NOT EXISTS events (
      id INTEGER PRIMARY KEY AUTOINCREMENT, time TEXT NOT NULL, environment TEXT NOT NULL,
      endpoint TEXT NOT NULL, user TEXT NOT NULL, name TEXT NOT NULL, context TEXT NOT NULL, body TEXT NOT NULL);
    CREATE INDEX IF NOT EXISTS events_named ON events (name, id);
    CREATE TABLE IF NOT EXISTS reports (id TEXT PRIMARY KEY, time TEXT NOT NULL) WITHOUT ROWID;
    CREATE INDEX IF NOT EXISTS reports_by_time ON reports (time);
  )");
  return database;
}

std::string randomToken() {
  unsigned char bytes[24];
  if (RAND_bytes(bytes, sizeof bytes) != 1) throw std::runtime_error("no random numbers");
  constexpr char digits[] = "0123456789abcdef";
  std::string token;
  for (const unsigned char byte : bytes) {
    token += digits[byte >> 4];
    token += digits[byte & 15];
  }
  return token;
}

// A transaction. The destructor rolls it back unless it was committed.
class Transaction {
 public:
  explicit Transaction(Database& database) : _database(database) { _database.execute("BEGIN IMMEDIATE"); }
  ~Transaction() {
    if (_committed) return;
    try {
      _database.execute("ROLLBACK");
    } catch (const std::exception&) {
      // After some failures, such as a full disk, SQLite has already rolled back.
    }
  }
  void commit() {
    _database.execute("COMMIT");
    _committed = true;
  }

 private:
  Database& _database;
  bool _committed = false;
};

}  // namespace

EventStore::EventStore(const std::filesystem::path& file)
    : _database(openDatabase(file)),
      _insertToken(_database.prepare("INSERT INTO tokens (token, time, app_key, device) VALUES (?, ?, ?, ?)")),
      _trimTokens(_database.prepare(
          "DELETE FROM tokens WHERE app_key = ?1 AND device = ?2 AND id NOT IN (SELECT id FROM tokens "
          "WHERE app_key = ?1 AND device = ?2 ORDER BY id DESC LIMIT 16)")),
      _findToken(_database.prepare("SELECT 1 FROM tokens WHERE token = ?")),
      _insertEvent(_database.prepare("INSERT INTO events (time, environment, endpoint, user, name, context, body) "
                                     "VALUES (?, ?, ?, ?, ?, ?, ?)")),
      _insertReport(_database.prepare("INSERT OR IGNORE INTO reports (id, time) VALUES (?, ?)")),
      _purgeReports(
          _database.prepare("DELETE FROM reports WHERE time < strftime('%Y-%m-%dT%H:%M:%fZ', ?, '-30 days')")),
      _listSince(_database.prepare("SELECT id, time, environment, endpoint, user, name, context, body "
                                   "FROM events WHERE id > ?1 AND (?2 = 0 OR name = ?3) ORDER BY id LIMIT ?4")),
      _listNewest(_database.prepare("SELECT id, time, environment, endpoint, user, name, context, body "
                                    "FROM events WHERE id > ?1 AND (?2 = 0 OR name = ?3) ORDER BY id DESC LIMIT ?4")),
      _count(_database.prepare("SELECT count(*) FROM events")) {}

std::string EventStore::createToken(std::string_view appKey, std::string_view device) {
  const auto token = randomToken();
  std::lock_guard lock(_mutex);
  Transaction transaction(_database);
  _insertToken.with(token, timestampNow(), appKey, device).run();
  if (!device.empty()) _trimTokens.with(appKey, device).run();
  transaction.commit();
  return token;
}

bool EventStore::knowsToken(std::string_view token) {
  std::lock_guard lock(_mutex);
  const bool found = _findToken.with(token).step();
  if (found) _findToken.run();
  return found;
}

std::vector<bool> EventStore::append(std::string_view time, std::string_view environment, std::string_view endpoint,
                                     std::string_view user, const std::vector<ReceivedEvent>& events) {
  std::vector<bool> stored;
  std::lock_guard lock(_mutex);
  Transaction transaction(_database);
  for (const auto& event : events) {
    stored.push_back(event.reportId.empty() || _isNewReport(time, event.reportId));
    if (!stored.back()) continue;
    _insertEvent.with(time, environment, endpoint, user, event.name, event.context, event.body).run();
  }
  transaction.commit();
  return stored;
}

bool EventStore::_isNewReport(std::string_view time, std::string_view id) {
  _purgeReports.with(time).run();
  _insertReport.with(id, time).run();
  return _database.changes() > 0;
}

std::vector<StoredEvent> EventStore::list(const EventFilter& filter) {
  std::lock_guard lock(_mutex);
  auto& statement = filter.since ? _listSince : _listNewest;
  statement.with(filter.since.value_or(0), std::int64_t{filter.name.has_value()}, filter.name.value_or(std::string()),
                 filter.limit);
  std::vector<StoredEvent> events;
  std::size_t size = 0;
  while (size < largestListing && statement.step()) {
    StoredEvent event;
    event.id = statement.integer(0);
    event.time = statement.text(1);
    event.environment = statement.text(2);
    event.endpoint = statement.text(3);
    event.user = statement.text(4);
    event.name = statement.text(5);
    event.context = statement.text(6);
    event.body = statement.text(7);
    size += event.name.size() + event.context.size() + event.body.size();
    events.push_back(std::move(event));
  }
  statement.with();
  if (!filter.since) std::reverse(events.begin(), events.end());
  return events;
}

std::int64_t EventStore::count() {
  std::lock_guard lock(_mutex);
  const std::int64_t total = _count.with().step() ? _count.integer(0) : 0;
  _count.with();
  return total;
}

}  // namespace oq::server
