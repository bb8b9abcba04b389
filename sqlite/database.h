#pragma once

#include <chrono>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include <sqlite3.h>

/// SQLite itself, for what looks into a project file without the store.
namespace korvane::sqlite {

/// What SQLite refuses, with its own text, after the name of the file where there is one:
/// "\"a.db\": database is locked".
class DatabaseError : public std::runtime_error {
 public:
  DatabaseError(const std::string& text, int code) : std::runtime_error(text), code_(code) {}

  /// SQLite's extended result code.
  int code() const { return code_; }

 private:
  int code_;
};

/// The name of a table, an index or a view as SQL takes it, whatever it holds.
std::string quoted_name(std::string_view name);

/// A connection of its own to a file. Waits a minute for locks that others hold, as the store does.
/// One thread at a time.
class Database {
 public:
  /// `settled` reads a file that nobody changes meanwhile: takes no lock, looks at no journal and
  /// makes no file beside it, not even for one in write-ahead mode.
  /// With `memory` nothing is on a disk, and `filename` is for messages.
  enum class Access { read, settled, write, make, memory };

  /// Opens `filename`, which is a path and never an URI. Only `make` makes a file that is missing.
  /// Throws DatabaseError, and for `write` and `make` what require_own_journal throws.
  Database(const std::string& filename, Access access);

  /// How long to wait for locks from now on, and to ask for them every millisecond: SQLite's own
  /// waiting asks ever more rarely, and hardly gets a turn beside those that write without a pause.
  void wait_for_locks(std::chrono::milliseconds time);

  /// Takes the file for one that may come from anyone: its own views, triggers and declarations call
  /// no function that reaches further. What the connection needs besides stays in memory.
  void distrust();

  /// Has a statement fail that comes to a value longer than all that the file holds now: an index may
  /// be declared to be of the longest that SQLite can make.
  void bound_values();

  /// Calls `proceed` often while a statement runs. What it throws ends the statement, and comes out of
  /// it in place of a DatabaseError.
  void ask_while_running(std::function<void()> proceed);

  /// Runs statements that give no rows. Throws DatabaseError.
  void run(const std::string& sql);

  /// Throws what SQLite said last, or what ended the statement.
  [[noreturn]] void fail() const;

  /// Lives as long as this object.
  sqlite3* handle() const { return handle_.get(); }
  const std::string& filename() const { return filename_; }

 private:
  struct Closed {
    void operator()(sqlite3* handle) const { sqlite3_close_v2(handle); }
  };

  struct Asked {
    std::function<void()> proceed;
    std::exception_ptr failure;
  };

  std::string filename_;
  /// At one address, as most_waits_ is.
  std::unique_ptr<Asked> asked_;
  /// Of a millisecond each. At one address as long as the connection, which asks for it.
  std::unique_ptr<std::int64_t> most_waits_;
  std::unique_ptr<sqlite3, Closed> handle_;
};

/// One statement, parsed once. The database must outlive it.
class Statement {
 public:
  /// Of several statements the first. Throws DatabaseError for what SQLite cannot compile.
  Statement(const Database& database, std::string_view sql);

  /// Parameters count from 1. Texts and bytes are copied.
  Statement& bind(int parameter, std::int64_t value);
  Statement& bind(int parameter, double value);
  Statement& bind(int parameter, std::string_view value);
  Statement& bind_bytes(int parameter, std::string_view value);
  Statement& bind_null(int parameter);

  /// Goes to the next row; false if there is none. Throws DatabaseError.
  bool next();
  /// Makes it ready to run again, with the same parameters.
  void reset();

  // Of the current row; columns count from 0. The text and bytes are valid until `next`.
  int column_count() const;
  std::string column_name(int column) const;
  /// SQLITE_INTEGER, SQLITE_FLOAT, SQLITE_TEXT, SQLITE_BLOB or SQLITE_NULL.
  int type(int column) const;
  bool is_null(int column) const { return type(column) == SQLITE_NULL; }
  std::int64_t integer(int column) const;
  double real(int column) const;
  std::string_view text(int column) const;
  std::string_view bytes(int column) const;

  sqlite3_stmt* handle() const { return handle_.get(); }

 private:
  struct Finalized {
    void operator()(sqlite3_stmt* handle) const { sqlite3_finalize(handle); }
  };

  void check(int code) const;

  const Database* database_;
  std::unique_ptr<sqlite3_stmt, Finalized> handle_;
};

}  // namespace korvane::sqlite
