// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Sqlite.h"

namespace oq::server {

// One event as a client sent it. `context` and `body` are compact JSON. `reportId` is empty if the client gave it no
// id.
struct ReceivedEvent {
  std::string reportId;
  std::string name;
  std::string context;
  std::string body;
};

struct StoredEvent : ReceivedEvent {
  std::int64_t id = 0;
  std::string time, environment, endpoint, user;
};

// Selects at most `limit` events: the first ones after the id `since`, or the newest ones if `since` is absent. If
// there is a `name`, only events with this name are selected. Events are always listed in order, the newest last.
struct EventFilter {
  std::optional<std::int64_t> since;
  std::optional<std::string> name;
  std::int64_t limit = 100;
};

// Session tokens and received events in an SQLite database. All methods are safe to call from any thread. When a method
// returns, its data is on the disk. If a method fails, it throws std::runtime_error and has written nothing.
class EventStore {
 public:
  explicit EventStore(const std::filesystem::path& file);

  // Returns a new random token. Of each device with the same application key, only the newest 16 tokens stay valid;
  // tokens of unknown devices (empty `device`) are not limited.
  std::string createToken(std::string_view appKey, std::string_view device);
  bool knowsToken(std::string_view token);

  // Stores the events, except those with a report id that was stored in the last 30 days. Returns for each event
  // whether it was stored. If the function throws, it has stored no event. `time` comes from timestampNow().
  std::vector<bool> append(std::string_view time, std::string_view environment, std::string_view endpoint,
                           std::string_view user, const std::vector<ReceivedEvent>& events);
  std::vector<StoredEvent> list(const EventFilter& filter);
  std::int64_t count();

 private:
  bool _isNewReport(std::string_view time, std::string_view id);

  std::mutex _mutex;  // guards the connection and its statements
  Database _database;
  Statement _insertToken, _trimTokens, _findToken, _insertEvent, _insertReport, _purgeReports, _listSince, _listNewest,
      _count;
};

}  // namespace oq::server
