#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace korvane::host {

/// What the SQL inside a fence may do.
enum class SqlAccess {
  /// Read: selects over tables, views, `sqlite_master` and table-valued functions such as
  /// `json_each`, with SQLite's functions; EXPLAIN of a select as well.
  reads,
  /// Change the rows and the schema of the file too, VACUUM, ANALYZE and REINDEX included, each
  /// statement a transaction of its own. Refused is what would outlive the statement on its
  /// connection or reach another file: transactions and savepoints, temporary tables, views and
  /// triggers, ATTACH, DETACH, VACUUM INTO, and every PRAGMA but those that only tell something and
  /// those that set the numbers `user_version` and `application_id` of the file.
  changes,
  /// Anything. For the store's own operations, which begin and end transactions.
  everything,
};

/// A thing that a statement will do, as SQLite asks an authorizer about it
/// (https://www.sqlite.org/c3ref/c_alter_table.html): the code, its two arguments and the database,
/// "main" or "temp".
struct SqlAction {
  int code;
  std::string_view first;
  std::string_view second;
  std::string_view database;
  /// Asked on behalf of a statement that runs already, as VACUUM does.
  bool is_within_statement = false;
};

/// What is wrong with `action` in a client's words, "attach"; nothing where it is allowed. Whatever
/// the access, functions are refused that load code, reach files or write into the process's log,
/// and `json_patch`, one call of which can take minutes.
std::optional<std::string> refused_action(SqlAccess access, const SqlAction& action);

/// Whether the action begins or ends a transaction.
bool is_of_transaction(const SqlAction& action);

}  // namespace korvane::host
