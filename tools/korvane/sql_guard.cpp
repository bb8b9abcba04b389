#include "tools/korvane/sql_guard.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <strings.h>

#include "platform/rpc4/failure.h"
#include "sqlite/database.h"

namespace korvane::tools {

namespace {

// Pragmas that only tell something, whatever stands in their brackets.
constexpr std::array<std::string_view, 10> kQuestions = {
    "foreign_key_check", "foreign_key_list", "index_info", "index_list", "index_xinfo",
    "integrity_check",   "quick_check",      "table_info", "table_list", "table_xinfo"};
// Those that tell something unless a value is given, which they would set.
constexpr std::array<std::string_view, 16> kSettings = {
    "application_id", "auto_vacuum",   "collation_list", "compile_options",
    "data_version",   "database_list", "encoding",       "foreign_keys",
    "freelist_count", "function_list", "journal_mode",   "module_list",
    "page_count",     "page_size",     "schema_version", "user_version"};

// Functions that do more than compute: load code, take a pointer to it as bytes, write in the index
// of a search table or in the log.
constexpr std::array<std::string_view, 4> kRefusedFunctions = {"load_extension", "fts3_tokenizer",
                                                               "optimize", "sqlite_log"};

template <class Names>
bool is_among(const Names& names, const char* name) {
  return std::any_of(names.begin(), names.end(),
                     [&](std::string_view each) { return strcasecmp(each.data(), name) == 0; });
}

extern "C" int allow_if_reading(void*, int action, const char* first, const char* second,
                                const char*, const char*) {
  switch (action) {
    case SQLITE_SELECT:
    case SQLITE_READ:
    case SQLITE_RECURSIVE:
      return SQLITE_OK;
    case SQLITE_FUNCTION:
      return is_among(kRefusedFunctions, second) ? SQLITE_DENY : SQLITE_OK;
    case SQLITE_PRAGMA:
      return is_among(kQuestions, first) || (second == nullptr && is_among(kSettings, first))
                 ? SQLITE_OK
                 : SQLITE_DENY;
    case SQLITE_UPDATE:
      // Asked where a table of a function such as json_each is declared. The schema itself no
      // statement can write.
      return strcasecmp(first, "sqlite_master") == 0 ? SQLITE_OK : SQLITE_DENY;
    default:
      return SQLITE_DENY;
  }
}

/// "(line 1, column 8)", counted from 1, columns in bytes.
std::string place_in(std::string_view sql, std::size_t offset) {
  const std::string_view before = sql.substr(0, offset);
  const auto line = std::count(before.begin(), before.end(), '\n') + 1;
  const std::size_t line_begin = before.rfind('\n') + 1;  // 0 if there is none
  return " (line " + std::to_string(line) + ", column " + std::to_string(offset - line_begin + 1) +
         ")";
}

[[noreturn]] void refuse(sqlite3* database, std::string_view sql, std::size_t begin) {
  const int code = sqlite3_extended_errcode(database);
  if ((code & 0xFF) == SQLITE_AUTH) throw MoreThanReading();
  std::string text = sqlite3_errmsg(database);
  const int offset = sqlite3_error_offset(database);
  if (offset >= 0) text += place_in(sql, begin + static_cast<std::size_t>(offset));
  throw sqlite::DatabaseError(text, code);
}

}  // namespace

void allow_reading_only(sqlite3* database) {
  sqlite3_set_authorizer(database, allow_if_reading, nullptr);
}

std::string_view only_statement(sqlite3* database, std::string_view sql) {
  if (sql.find('\0') != std::string_view::npos) {
    throw krv::rpc4::BadRequest("the SQL has a zero byte in it");
  }
  struct Finalized {
    void operator()(sqlite3_stmt* handle) const { sqlite3_finalize(handle); }
  };
  std::string_view statement;
  std::string_view rest = sql;
  // Comments and lone semicolons are statements that do nothing.
  while (!rest.empty()) {
    sqlite3_stmt* handle = nullptr;
    const char* tail = nullptr;
    const int code =
        sqlite3_prepare_v2(database, rest.data(), static_cast<int>(rest.size()), &handle, &tail);
    const std::unique_ptr<sqlite3_stmt, Finalized> prepared(handle);
    const bool is_second = !statement.empty() && (code != SQLITE_OK || handle != nullptr);
    if (is_second) {
      throw krv::rpc4::BadRequest("the SQL has more than one statement: give them one by one");
    }
    if (code != SQLITE_OK) refuse(database, sql, sql.size() - rest.size());
    if (handle != nullptr && sqlite3_bind_parameter_count(handle) != 0) {
      const char* const name = sqlite3_bind_parameter_name(handle, 1);
      throw krv::rpc4::BadRequest("the SQL has a parameter, which has no value here: " +
                                  std::string(name == nullptr ? "?" : name));
    }
    const auto used = static_cast<std::size_t>(tail - rest.data());
    if (handle != nullptr) statement = rest.substr(0, used);
    rest.remove_prefix(used);
  }
  if (statement.empty()) throw krv::rpc4::BadRequest("no SQL was given");
  return statement;
}

}  // namespace korvane::tools
