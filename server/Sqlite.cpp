// SPDX-License-Identifier: Apache-2.0
#include "Sqlite.h"

#include <stdexcept>

namespace oq::server {

Statement::Statement(sqlite3* database, std::string_view sql) {
  sqlite3_stmt* handle = nullptr;
  const int code = sqlite3_prepare_v2(database, sql.data(), static_cast<int>(sql.size()), &handle, nullptr);
  _handle.reset(handle);
  if (code != SQLITE_OK) throw std::runtime_error(sqlite3_errmsg(database));
}

bool Statement::step() {
  const int code = sqlite3_step(_handle.get());
  if (code == SQLITE_ROW) return true;
  const std::string problem = sqlite3_errmsg(sqlite3_db_handle(_handle.get()));
  _reset();
  if (code != SQLITE_DONE) throw std::runtime_error(problem);
  return false;
}

void Statement::run() {
  while (step()) {
  }
}

std::string Statement::text(int column) const {
  const auto* bytes = sqlite3_column_text(_handle.get(), column);
  const auto length = static_cast<std::size_t>(sqlite3_column_bytes(_handle.get(), column));
  return bytes ? std::string(reinterpret_cast<const char*>(bytes), length) : std::string();
}

// Ignores the result: sqlite3_reset() repeats the error of the last step, which was already reported.
void Statement::_reset() {
  sqlite3_reset(_handle.get());
}

void Statement::_bind(int index, std::int64_t value) {
  _check(sqlite3_bind_int64(_handle.get(), index, value));
}

void Statement::_bind(int index, std::string_view value) {
  _check(sqlite3_bind_text64(_handle.get(), index, value.data(), value.size(), SQLITE_TRANSIENT, SQLITE_UTF8));
}

void Statement::_check(int code) const {
  if (code != SQLITE_OK) throw std::runtime_error(sqlite3_errstr(code));
}

Database::Database(const std::filesystem::path& file) {
  sqlite3* handle = nullptr;
  const int code = sqlite3_open(file.c_str(), &handle);
  _handle.reset(handle);
  if (code != SQLITE_OK) throw std::runtime_error(file.string() + ": " + sqlite3_errstr(code));
  sqlite3_extended_result_codes(handle, 1);
  sqlite3_busy_timeout(handle, 5000);
}

void Database::execute(const char* sql) {
  if (sqlite3_exec(_handle.get(), sql, nullptr, nullptr, nullptr) == SQLITE_OK) return;
  throw std::runtime_error(sqlite3_errmsg(_handle.get()));
}

}  // namespace oq::server
