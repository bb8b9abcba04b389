#include "host/access/sql_access.h"

#include <algorithm>
#include <array>

#include <boost/algorithm/string/predicate.hpp>
#include <sqlite3.h>

namespace korvane::host {

namespace {

/// Functions that do more than compute, or can take minutes in one call.
constexpr std::array kRefusedFunctions = {
    // Load code, or take pointers as blobs.
    "load_extension", "fts3_tokenizer",
    // Of SQLite's shell and its loadable extensions: files, programs, SQL in an argument.
    "readfile", "writefile", "edit", "lsmode", "zipfile", "eval", "sha1_query", "sha3_query",
    // Writes into the process's error log.
    "sqlite_log",
    // Take apart or rewrite what virtual tables store.
    "rtreecheck", "rtreedepth", "rtreenode", "fts5_decode", "fts5_decode_none", "fts5_rowid",
    "optimize",
    // Compares every key of one argument with every one of the other, slowly.
    "json_patch"};

/// A pragma that changes nothing that outlives its statement but numbers in the file's header.
struct AllowedPragma {
  std::string_view name;
  bool may_have_argument;
};
constexpr std::array kAllowedPragmas = {
    AllowedPragma{"application_id", true},    AllowedPragma{"collation_list", false},
    AllowedPragma{"compile_options", false},  AllowedPragma{"data_version", false},
    AllowedPragma{"database_list", false},    AllowedPragma{"encoding", false},
    AllowedPragma{"foreign_key_check", true}, AllowedPragma{"foreign_key_list", true},
    AllowedPragma{"foreign_keys", false},     AllowedPragma{"freelist_count", false},
    AllowedPragma{"function_list", false},    AllowedPragma{"index_info", true},
    AllowedPragma{"index_list", true},        AllowedPragma{"index_xinfo", true},
    AllowedPragma{"integrity_check", true},   AllowedPragma{"journal_mode", false},
    AllowedPragma{"module_list", false},      AllowedPragma{"page_count", false},
    AllowedPragma{"page_size", false},        AllowedPragma{"pragma_list", false},
    AllowedPragma{"quick_check", true},       AllowedPragma{"schema_version", false},
    AllowedPragma{"table_info", true},        AllowedPragma{"table_list", true},
    AllowedPragma{"table_xinfo", true},       AllowedPragma{"user_version", true},
};

bool is_refused_function(std::string_view name) {
  return std::find(kRefusedFunctions.begin(), kRefusedFunctions.end(), name) !=
         kRefusedFunctions.end();
}

bool is_allowed_pragma(const SqlAction& action) {
  return std::any_of(kAllowedPragmas.begin(), kAllowedPragmas.end(), [&](const auto& allowed) {
    return boost::algorithm::iequals(allowed.name, action.first) &&
           (allowed.may_have_argument || action.second.empty());
  });
}

/// Whether SQLite's own catalogue is what an action is about.
bool is_schema_table(std::string_view table) {
  return table == "sqlite_master" || table == "sqlite_temp_master";
}

/// An action in a client's words.
std::string in_words(const SqlAction& action) {
  // Most changes of the schema begin as one of its rows.
  if (is_schema_table(action.first)) return "changing the schema";
  switch (action.code) {
    case SQLITE_INSERT:
      return "insert";
    case SQLITE_UPDATE:
      return "update";
    case SQLITE_DELETE:
      return "delete";
    case SQLITE_FUNCTION:
      return "calling " + std::string(action.second);
    case SQLITE_PRAGMA:
      return "pragma";
    case SQLITE_TRANSACTION:
      return "begin, commit or rollback";
    case SQLITE_SAVEPOINT:
      return "savepoint";
    case SQLITE_ATTACH:
      return "attach";
    case SQLITE_DETACH:
      return "detach";
    case SQLITE_ANALYZE:
      return "analyze";
    case SQLITE_REINDEX:
      return "reindex";
    default:
      return "changing the schema";
  }
}

bool is_allowed_reading(const SqlAction& action) {
  switch (action.code) {
    case SQLITE_SELECT:
    case SQLITE_READ:
    case SQLITE_RECURSIVE:
    case SQLITE_FUNCTION:
      return true;
    case SQLITE_UPDATE:
      // SQLite asks about this, and does not do it, when a table-valued function is first used on a
      // connection. A statement that does it writes, and is refused when it begins to run.
      return is_schema_table(action.first);
    default:
      return false;
  }
}

constexpr const char* kTemporarySchema = "changing the temporary schema";

bool is_of_vacuum(const SqlAction& action) {
  return action.code == SQLITE_TRANSACTION || action.first.empty();
}

std::optional<std::string> refused_change(const SqlAction& action) {
  switch (action.code) {
    case SQLITE_SAVEPOINT:
    case SQLITE_DETACH:
      return in_words(action);
    case SQLITE_TRANSACTION:
    case SQLITE_ATTACH:
      // VACUUM begins a transaction and attaches a file without a name, which SQLite removes.
      if (action.is_within_statement && is_of_vacuum(action)) return std::nullopt;
      return in_words(action);
    case SQLITE_PRAGMA:
      if (is_allowed_pragma(action)) return std::nullopt;
      return "pragma " + std::string(action.first);
    case SQLITE_CREATE_TEMP_INDEX:
    case SQLITE_CREATE_TEMP_TABLE:
    case SQLITE_CREATE_TEMP_TRIGGER:
    case SQLITE_CREATE_TEMP_VIEW:
    case SQLITE_DROP_TEMP_INDEX:
    case SQLITE_DROP_TEMP_TABLE:
    case SQLITE_DROP_TEMP_TRIGGER:
    case SQLITE_DROP_TEMP_VIEW:
      return kTemporarySchema;
    case SQLITE_CREATE_INDEX:
    case SQLITE_CREATE_TABLE:
    case SQLITE_CREATE_TRIGGER:
    case SQLITE_CREATE_VIEW:
    case SQLITE_CREATE_VTABLE:
      // As in "create table temp.t".
      if (action.database == "temp") return kTemporarySchema;
      return std::nullopt;
    default:
      return std::nullopt;
  }
}

}  // namespace

std::optional<std::string> refused_action(SqlAccess access, const SqlAction& action) {
  if (action.code == SQLITE_FUNCTION && is_refused_function(action.second)) return in_words(action);
  switch (access) {
    case SqlAccess::reads:
      if (is_allowed_reading(action)) return std::nullopt;
      return in_words(action);
    case SqlAccess::changes:
      return refused_change(action);
    case SqlAccess::everything:
      break;
  }
  return std::nullopt;
}

bool is_of_transaction(const SqlAction& action) {
  return action.code == SQLITE_TRANSACTION || action.code == SQLITE_SAVEPOINT;
}

}  // namespace korvane::host
