#pragma once

#include <memory>
#include <stdexcept>
#include <string>

#include <sqlite3.h>

#include "tests/support/plain_sqlite.h"

namespace korvane::test {

/// A connection into which the extension can be loaded, as any program does it.
class LoadedConnection {
 public:
  /// `filename` may be a URI.
  explicit LoadedConnection(const std::string& filename, int flags = SQLITE_OPEN_READWRITE,
                            bool loads = true) {
    sqlite3* connection = nullptr;
    const int code =
        sqlite3_open_v2(filename.c_str(), &connection, flags | SQLITE_OPEN_URI, nullptr);
    connection_.reset(connection);
    if (code != SQLITE_OK) throw std::runtime_error(sqlite3_errmsg(connection));
    if (loads) load();
  }

  /// Throws std::runtime_error with the loader's text.
  void load() {
    sqlite3_db_config(handle(), SQLITE_DBCONFIG_ENABLE_LOAD_EXTENSION, 1, nullptr);
    char* message = nullptr;
    const int code = sqlite3_load_extension(handle(), KORVANE_SQLITE_EXTENSION, nullptr, &message);
    const std::unique_ptr<char, void (*)(void*)> owned(message, sqlite3_free);
    if (code != SQLITE_OK) throw std::runtime_error(message == nullptr ? "failed" : message);
  }

  /// The rows of one statement. Throws std::runtime_error with SQLite's text.
  Rows rows(const std::string& sql) const {
    sqlite3_stmt* handle = nullptr;
    if (sqlite3_prepare_v2(connection_.get(), sql.c_str(), -1, &handle, nullptr) != SQLITE_OK) {
      throw std::runtime_error(sqlite3_errmsg(connection_.get()));
    }
    const std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)> statement(handle, sqlite3_finalize);
    Rows rows;
    int code = SQLITE_OK;
    while ((code = sqlite3_step(handle)) == SQLITE_ROW) {
      Row& row = rows.emplace_back();
      for (int i = 0; i < sqlite3_column_count(handle); ++i) row.push_back(cell(handle, i));
    }
    if (code != SQLITE_DONE) throw std::runtime_error(sqlite3_errmsg(connection_.get()));
    return rows;
  }

  /// The one cell of the one row.
  CellText value(const std::string& sql) const { return rows(sql).at(0).at(0); }

  /// The text of the failure that a statement ends in; empty if it does not fail.
  std::string failure(const std::string& sql) const {
    try {
      rows(sql);
      return {};
    } catch (const std::runtime_error& failure) {
      return failure.what();
    }
  }

  sqlite3* handle() const { return connection_.get(); }

 private:
  static CellText cell(sqlite3_stmt* statement, int column) {
    const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
    if (text == nullptr) return kNull;
    return std::string(text, static_cast<std::size_t>(sqlite3_column_bytes(statement, column)));
  }

  struct Close {
    void operator()(sqlite3* connection) const noexcept { sqlite3_close_v2(connection); }
  };
  std::unique_ptr<sqlite3, Close> connection_;
};

}  // namespace korvane::test
