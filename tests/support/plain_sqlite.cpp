#include "tests/support/plain_sqlite.h"

#include <stdexcept>

#include <sqlite3.h>

#include "tests/support/connection_watch.h"

namespace korvane::test {

namespace {

struct Finalize {
  void operator()(sqlite3_stmt* statement) const noexcept { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, Finalize>;

[[noreturn]] void fail(sqlite3* connection, const std::string& what) {
  throw std::runtime_error(what + ": " + sqlite3_errmsg(connection));
}

Statement prepare(sqlite3* connection, const std::string& sql) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(connection, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
    fail(connection, sql);
  }
  return Statement(statement);
}

CellText cell_at(sqlite3_stmt* statement, int column) {
  const int type = sqlite3_column_type(statement, column);
  if (type == SQLITE_NULL) return kNull;
  if (type == SQLITE_BLOB) {
    const void* const bytes = sqlite3_column_blob(statement, column);
    return hex(bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement, column)));
  }
  const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
  return std::string(text, static_cast<std::size_t>(sqlite3_column_bytes(statement, column)));
}

}  // namespace

void PlainConnection::Close::operator()(sqlite3* connection) const noexcept {
  sqlite3_close_v2(connection);
}

PlainConnection::PlainConnection(const std::string& file, Mode mode) {
  const ConnectionWatch::Pause unwatched;
  sqlite3* connection = nullptr;
  const int flags = mode == Mode::kRead ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE;
  const int result = sqlite3_open_v2(file.c_str(), &connection, flags, nullptr);
  connection_.reset(connection);
  if (result != SQLITE_OK) fail(connection, file);
  // As SQLite opens files by itself, whatever the process does to its other connections.
  sqlite3_db_config(connection, SQLITE_DBCONFIG_DEFENSIVE, 0, nullptr);
  sqlite3_db_config(connection, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 1, nullptr);
}

Rows PlainConnection::rows(const std::string& sql) {
  const Statement statement = prepare(connection_.get(), sql);
  Rows rows;
  int result = SQLITE_OK;
  while ((result = sqlite3_step(statement.get())) == SQLITE_ROW) {
    Row& row = rows.emplace_back();
    for (int i = 0; i < sqlite3_column_count(statement.get()); ++i) {
      row.push_back(cell_at(statement.get(), i));
    }
  }
  if (result != SQLITE_DONE) fail(connection_.get(), sql);
  return rows;
}

NamedRow PlainConnection::named_row(const std::string& sql) {
  const Statement statement = prepare(connection_.get(), sql);
  if (sqlite3_step(statement.get()) != SQLITE_ROW) fail(connection_.get(), "no row: " + sql);
  NamedRow row;
  for (int i = 0; i < sqlite3_column_count(statement.get()); ++i) {
    row.emplace_back(sqlite3_column_name(statement.get(), i), cell_at(statement.get(), i));
  }
  return row;
}

void PlainConnection::run(const std::string& sql) {
  if (sqlite3_exec(connection_.get(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
    fail(connection_.get(), sql);
  }
}

Rows plain_rows(const std::string& file, const std::string& sql) {
  return PlainConnection(file, PlainConnection::Mode::kRead).rows(sql);
}

std::string hex(const void* bytes, std::size_t size) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  for (std::size_t i = 0; i < size; ++i) {
    const unsigned byte = static_cast<const unsigned char*>(bytes)[i];
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0xF];
  }
  return text;
}

}  // namespace korvane::test
