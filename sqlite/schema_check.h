#pragma once

#include <map>
#include <set>
#include <stdexcept>
#include <string>

#include "sqlite/database.h"
#include "sqlite/finding.h"

namespace korvane::sqlite {

/// The columns of each of the project's tables that are there, as far as a record is read from them.
using FoundTables = std::map<std::string, std::set<std::string>>;

/// Compares the tables of a database with those of a project, by their descriptions. Throws
/// DatabaseError.
FoundTables check_schema(const Database& database, FindingList& findings);

/// "\"<file>\" is not a korvane project: <what is missing>".
class NotAProject : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Throws NotAProject for a file whose tables are not whole.
void require_project(const Database& database);

/// Makes the ten tables, for comparison, in a database without any.
void make_tables(Database& database);

}  // namespace korvane::sqlite
