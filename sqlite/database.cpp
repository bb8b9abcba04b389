#include "sqlite/database.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "sqlite/journal_files.h"

namespace korvane::sqlite {

namespace {

constexpr int kWaitMilliseconds = 60'000;

int flags_of(Database::Access access) {
  switch (access) {
    case Database::Access::read:
      return SQLITE_OPEN_READONLY;
    case Database::Access::settled:
      return SQLITE_OPEN_READONLY | SQLITE_OPEN_URI;
    case Database::Access::write:
      return SQLITE_OPEN_READWRITE;
    case Database::Access::memory:
      return SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_MEMORY;
    default:
      return SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
  }
}

/// The URI of a file whose content stays as it is.
std::string settled_uri(const std::string& path) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  // Two slashes would begin the name of a host.
  std::string uri = path.starts_with('/') ? "file://" : "file:";
  for (const char c : path) {
    if (c != '%' && c != '?' && c != '#') {
      uri += c;
      continue;
    }
    const auto byte = static_cast<unsigned char>(c);
    uri += '%';
    uri += kDigits[byte >> 4];
    uri += kDigits[byte & 0xF];
  }
  return uri + "?immutable=1";
}

/// Of the file and of what SQLite keeps beside it: no value that is read is longer.
std::uintmax_t bytes_of(const std::string& filename) {
  std::uintmax_t sum = 0;
  for (const char* const ending : {"", "-journal", "-wal"}) {
    std::error_code none;
    const std::uintmax_t bytes = std::filesystem::file_size(filename + ending, none);
    if (!none) sum += bytes;
  }
  return sum;
}

}  // namespace

std::string quoted_name(std::string_view name) {
  std::string quoted = "\"";
  for (const char c : name) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
  return quoted + '"';
}

Database::Database(const std::string& filename, Access access) : filename_(filename) {
  if (access == Access::write || access == Access::make) require_own_journal(filename);
  // A name such as ":memory:", "file:x" or none at all is no file to SQLite.
  std::string path = filename.starts_with('/') ? filename : "./" + filename;
  if (access == Access::settled) path = settled_uri(path);
  sqlite3* handle = nullptr;
  const int code = sqlite3_open_v2(path.c_str(), &handle, flags_of(access), nullptr);
  handle_.reset(handle);
  if (handle == nullptr) throw DatabaseError("out of memory", SQLITE_NOMEM);
  if (code != SQLITE_OK) fail();
  sqlite3_extended_result_codes(handle, 1);
  sqlite3_busy_timeout(handle, kWaitMilliseconds);
}

void Database::wait_for_locks(std::chrono::milliseconds time) {
  most_waits_ = std::make_unique<std::int64_t>(time.count());
  sqlite3_busy_handler(
      handle(),
      [](void* most_waits, int waits) {
        if (waits >= *static_cast<const std::int64_t*>(most_waits)) return 0;
        sqlite3_sleep(1);
        return 1;
      },
      most_waits_.get());
}

void Database::distrust() {
  sqlite3_db_config(handle(), SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  sqlite3_db_config(handle(), SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  // Takes a pointer to code as bytes, and Debian's SQLite has it switched on.
  sqlite3_db_config(handle(), SQLITE_DBCONFIG_ENABLE_FTS3_TOKENIZER, 0, nullptr);
  run("pragma temp_store = memory");
}

void Database::bound_values() {
  // And of what is added just now.
  constexpr std::uintmax_t kMore = std::uintmax_t{16} << 20U;
  const auto most = static_cast<std::uintmax_t>(sqlite3_limit(handle(), SQLITE_LIMIT_LENGTH, -1));
  sqlite3_limit(handle(), SQLITE_LIMIT_LENGTH,
                static_cast<int>(std::min(most, bytes_of(filename_) + kMore)));
}

void Database::ask_while_running(std::function<void()> proceed) {
  constexpr int kSteps = 10'000;
  asked_ = std::make_unique<Asked>(Asked{std::move(proceed), nullptr});
  sqlite3_progress_handler(
      handle(), kSteps,
      [](void* data) {
        Asked& asked = *static_cast<Asked*>(data);
        try {
          asked.proceed();
          return 0;
        } catch (...) {
          asked.failure = std::current_exception();
          return 1;
        }
      },
      asked_.get());
}

void Database::run(const std::string& sql) {
  if (sqlite3_exec(handle(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) fail();
}

void Database::fail() const {
  if (asked_ && asked_->failure) {
    std::rethrow_exception(std::exchange(asked_->failure, nullptr));
  }
  throw DatabaseError("\"" + filename_ + "\": " + sqlite3_errmsg(handle()),
                      sqlite3_extended_errcode(handle()));
}

Statement::Statement(const Database& database, std::string_view sql) : database_(&database) {
  sqlite3_stmt* handle = nullptr;
  const char* tail = nullptr;
  check(sqlite3_prepare_v2(database.handle(), sql.data(), static_cast<int>(sql.size()), &handle,
                           &tail));
  handle_.reset(handle);
  if (handle == nullptr) throw DatabaseError("not a statement: " + std::string(sql), SQLITE_ERROR);
}

Statement& Statement::bind(int parameter, std::int64_t value) {
  check(sqlite3_bind_int64(handle(), parameter, value));
  return *this;
}

Statement& Statement::bind(int parameter, double value) {
  check(sqlite3_bind_double(handle(), parameter, value));
  return *this;
}

Statement& Statement::bind(int parameter, std::string_view value) {
  check(sqlite3_bind_text64(handle(), parameter, value.data(), value.size(), SQLITE_TRANSIENT,
                            SQLITE_UTF8));
  return *this;
}

Statement& Statement::bind_bytes(int parameter, std::string_view value) {
  check(sqlite3_bind_blob64(handle(), parameter, value.data(), value.size(), SQLITE_TRANSIENT));
  return *this;
}

Statement& Statement::bind_null(int parameter) {
  check(sqlite3_bind_null(handle(), parameter));
  return *this;
}

bool Statement::next() {
  const int code = sqlite3_step(handle());
  if (code == SQLITE_ROW) return true;
  if (code != SQLITE_DONE) database_->fail();
  return false;
}

void Statement::reset() { sqlite3_reset(handle()); }

int Statement::column_count() const { return sqlite3_column_count(handle()); }

std::string Statement::column_name(int column) const {
  const char* const name = sqlite3_column_name(handle(), column);
  if (name == nullptr) throw DatabaseError("out of memory", SQLITE_NOMEM);
  return name;
}

int Statement::type(int column) const { return sqlite3_column_type(handle(), column); }

std::int64_t Statement::integer(int column) const { return sqlite3_column_int64(handle(), column); }

double Statement::real(int column) const { return sqlite3_column_double(handle(), column); }

std::string_view Statement::text(int column) const {
  const auto* const text = sqlite3_column_text(handle(), column);
  const int size = sqlite3_column_bytes(handle(), column);
  return {reinterpret_cast<const char*>(text), static_cast<std::size_t>(size)};
}

std::string_view Statement::bytes(int column) const {
  const auto* const bytes = static_cast<const char*>(sqlite3_column_blob(handle(), column));
  const int size = sqlite3_column_bytes(handle(), column);
  return {bytes, static_cast<std::size_t>(size)};
}

void Statement::check(int code) const {
  if (code != SQLITE_OK) database_->fail();
}

}  // namespace korvane::sqlite
