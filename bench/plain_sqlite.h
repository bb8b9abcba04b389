#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include <sqlite3.h>

#include "bond/blob.h"
#include "bond/nullable.h"

/// SQLite by its C API, as the baselines use it.
namespace korvane::bench {

/// Throws std::runtime_error with SQLite's message unless `result` is one of success.
inline void check(int result, sqlite3* connection) {
  if (result != SQLITE_OK && result != SQLITE_DONE && result != SQLITE_ROW) {
    throw std::runtime_error(sqlite3_errmsg(connection));
  }
}

/// A connection with foreign keys on, as the store has it.
class Connection {
 public:
  explicit Connection(const std::string& filename) {
    check(sqlite3_open(filename.c_str(), &handle_), handle_);
    run("PRAGMA foreign_keys = true");
  }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection() { sqlite3_close(handle_); }

  void run(const std::string& sql) const {
    check(sqlite3_exec(handle_, sql.c_str(), nullptr, nullptr, nullptr), handle_);
  }
  sqlite3* handle() const { return handle_; }

 private:
  sqlite3* handle_ = nullptr;
};

/// A statement that is parsed once. Bound texts and blobs must outlive the step; positions count
/// from 1.
class Prepared {
 public:
  Prepared(const Connection& connection, const std::string& sql) : connection_(connection) {
    check(sqlite3_prepare_v2(connection.handle(), sql.c_str(), -1, &handle_, nullptr),
          connection.handle());
  }
  Prepared(const Prepared&) = delete;
  Prepared& operator=(const Prepared&) = delete;
  ~Prepared() { sqlite3_finalize(handle_); }

  void bind(int position, std::int32_t value) { sqlite3_bind_int(handle_, position, value); }
  void bind(int position, double value) { sqlite3_bind_double(handle_, position, value); }
  void bind(int position, const std::string& value) {
    sqlite3_bind_text(handle_, position, value.data(), static_cast<int>(value.size()),
                      SQLITE_STATIC);
  }
  void bind(int position, const bond::blob& value) {
    sqlite3_bind_blob(handle_, position, value.data(), static_cast<int>(value.size()),
                      SQLITE_STATIC);
  }
  template <class T>
  void bind(int position, const bond::nullable<T>& value) {
    if (value.hasvalue()) {
      bind(position, *value);
    } else {
      sqlite3_bind_null(handle_, position);
    }
  }

  /// Steps once. Returns whether there is a row.
  bool step() {
    const int result = sqlite3_step(handle_);
    check(result, connection_.handle());
    return result == SQLITE_ROW;
  }
  void reset() { sqlite3_reset(handle_); }
  /// Steps once and starts over.
  void run() {
    step();
    reset();
  }

  std::int32_t integer(int column) const { return sqlite3_column_int(handle_, column); }
  std::string text(int column) const {
    const auto* const bytes = reinterpret_cast<const char*>(sqlite3_column_text(handle_, column));
    return {bytes, static_cast<std::size_t>(sqlite3_column_bytes(handle_, column))};
  }
  const void* blob(int column) const { return sqlite3_column_blob(handle_, column); }
  std::uint32_t size(int column) const {
    return static_cast<std::uint32_t>(sqlite3_column_bytes(handle_, column));
  }
  sqlite3_stmt* handle() const { return handle_; }

 private:
  const Connection& connection_;
  sqlite3_stmt* handle_ = nullptr;
};

}  // namespace korvane::bench
