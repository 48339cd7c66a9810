// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace oq::server {

// A prepared statement. All failures throw std::runtime_error with SQLite's message. A statement and its connection
// must not be used by two threads at the same time.
class Statement {
 public:
  Statement(sqlite3* database, std::string_view sql);

  // Resets the statement and binds the parameters in order. Strings are copied.
  template <typename... Values>
  Statement& with(const Values&... values) {
    _reset();
    int index = 0;
    (_bind(++index, values), ...);
    return *this;
  }

  // Executes the statement up to its next row. Returns false if there are no more rows.
  bool step();
  // Executes the statement to its end and resets it.
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
  // The number of rows that the last INSERT, UPDATE or DELETE changed.
  int changes() const { return sqlite3_changes(_handle.get()); }
  Statement prepare(std::string_view sql) { return Statement(_handle.get(), sql); }

 private:
  struct Close {
    void operator()(sqlite3* database) const { sqlite3_close(database); }
  };
  std::unique_ptr<sqlite3, Close> _handle;
};

}  // namespace oq::server
