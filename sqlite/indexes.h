#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "sqlite/database.h"
#include "sqlite/finding.h"

/// The indexes that `korvane optimize` adds to a project. The store makes none and needs none: it
/// and all others read and write the same rows in the same order with them and without.
namespace korvane::sqlite {

/// What the names of all these indexes begin with. Names that begin so are ours.
inline constexpr std::string_view kIndexPrefix = "korvane_index_";

struct Index {
  /// `kIndexPrefix`, the table and the columns: "korvane_index_rebar_rev_id".
  std::string name;
  std::string table;
  /// In the order of the index.
  std::vector<std::string> columns;
  /// The statement that makes it, by which it is known again. NULL is left out of an index of one
  /// column that may hold it: nothing looks for NULL by the columns that refer to others.
  std::string sql;
};

/// All of them, in the order of tables and columns: the columns of foreign keys and those named
/// `rev_id`, each alone, and together the columns by which the store finds an end treatment.
std::vector<Index> project_indexes();

/// The indexes of a database with names that are ours.
struct FoundIndexes {
  /// Names of those that are as they should be.
  std::vector<std::string> there;
  /// What is not there, or differs.
  std::vector<Index> missing;
  /// Names of others: made by another version, or by somebody else.
  std::vector<std::string> others;
};

/// Looks into the schema alone. Throws DatabaseError.
FoundIndexes find_indexes(const Database& database);

/// Tells which are there, and of a database that has some which it lacks.
void note_indexes(const FoundIndexes& found, FindingList& findings);

}  // namespace korvane::sqlite
