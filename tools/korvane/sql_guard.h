#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include <sqlite3.h>

/// What may be done by the SQL of a query.
namespace korvane::tools {

/// Thrown for SQL that does more than read where it must not.
class MoreThanReading : public std::runtime_error {
 public:
  MoreThanReading()
      : std::runtime_error("this SQL does more than read, which a query may only with --write") {}
};

/// From now on statements of `database` are refused that do more than read it: what writes, what
/// opens, makes or locks a file (ATTACH, VACUUM INTO, BEGIN), and every PRAGMA but those that only
/// tell something.
void allow_reading_only(sqlite3* database);

/// The one statement in `sql`, a part of it, which `database` can prepare. Throws
///
/// - MoreThanReading, if the database is guarded
/// - krv::rpc4::BadRequest "no SQL was given", "the SQL has more than one statement: give them one
///   by one" and "the SQL has a parameter, which has no value here: …"
/// - sqlite::DatabaseError with SQLite's text, and where it knows the place with that:
///   "no such column: nam (line 1, column 8)"
std::string_view only_statement(sqlite3* database, std::string_view sql);

}  // namespace korvane::tools
