#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace oq::server {

// A connection and its prepared statements. Every failure throws std::runtime_error with SQLite's own
// message. Not for two threads at once.
class Statement {
 public:
  Statement(sqlite3* database, std::string_view sql);

  // Gives the parameters their values, from the first on. Texts are copied.
  template <typename... Values>
  Statement& with(const Values&... values) {
    _reset();
    int index = 0;
    (_bind(++index, values), ...);
    return *this;
  }

  // True while there is a row.
  bool step();
  // Runs to the end and is ready for the next use.
  void run();

  std::int64_t integer(int column) const { return sqlite3_column_int64(_handle.get(), column); }
  std::string text(int column) const;

 private:
  void _reset();
  void _bind(int index, std::int64_t value);
  void _bind(int index, std::string_view value);
  void _check(int code) const;

  struct Finalize {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };
  std::unique_ptr<sqlite3_stmt, Finalize> _handle;
};

class Database {
 public:
  // Opens or creates the file.
  explicit Database(const std::filesystem::path& file);

  void execute(const char* sql);
  Statement prepare(std::string_view sql) { return Statement(_handle.get(), sql); }

 private:
  struct Close {
    void operator()(sqlite3* database) const { sqlite3_close(database); }
  };
  std::unique_ptr<sqlite3, Close> _handle;
};

}  // namespace oq::server
