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

// One event as a client sent it. `context` and `body` are compact JSON.
struct ReceivedEvent {
  std::string name;
  std::string context;
  std::string body;
};

struct StoredEvent : ReceivedEvent {
  std::int64_t id = 0;
  std::string time, environment, endpoint, user;
};

// Which events to list: those after `since`, the oldest of them first; without `since` the newest ones.
// Either way the newest is last.
struct EventFilter {
  std::optional<std::int64_t> since;
  std::optional<std::string> name;
  std::int64_t limit = 100;
};

// Session tokens and received events, in one SQLite database that outlives the program. Every method may be
// called from any thread; what a method was asked to write is on the disk when it returns. Failures throw
// std::runtime_error, and then nothing was written.
class EventStore {
 public:
  explicit EventStore(const std::filesystem::path& file);

  // A new random token. The newest 16 of a device stay known.
  std::string createToken(std::string_view appKey, std::string_view device);
  bool knowsToken(std::string_view token);

  // All or none of the events; `time` is a text of timestampNow().
  void append(std::string_view time, std::string_view environment, std::string_view endpoint, std::string_view user,
              const std::vector<ReceivedEvent>& events);
  std::vector<StoredEvent> list(const EventFilter& filter);
  std::int64_t count();

 private:
  std::mutex _mutex;  // guards the connection and its statements
  Database _database;
  Statement _insertToken, _trimTokens, _findToken, _insertEvent, _listSince, _listNewest, _count;
};

}  // namespace oq::server
