#pragma once

#include <string>
#include <vector>

#include "sqlite/extension/api.h"

namespace korvane::sqlite::extension {

/// A view over the tables of a project, with names as columns.
struct View {
  std::string name;
  /// The statement that makes it in the connection's temporary schema, unless it is there.
  std::string sql;
};

/// "bars", "fabrics", "bar_spacers", "mounting_parts", "sheets", "revisions" and, of which they are
/// made, "unfinished_changes", each after `prefix`, over the project in `schema`. A line's columns
/// are its id, its names, those of its table except `raw`, and the other values of its record.
///
/// They show what the commands show: no revision that is part of an unfinished change, and of one
/// that is being changed the content that is whole. Lines without a revision are not shown.
std::vector<View> views_of(const std::string& schema, const std::string& prefix);

/// The names of the views of the main database.
std::vector<std::string> view_names();

/// Those of `views` whose names no table or view of the main database has.
std::vector<View> free_views(sqlite3* database, std::vector<View> views);

/// Makes them. Throws std::runtime_error with SQLite's text.
void make_views(sqlite3* database, const std::vector<View>& views);

}  // namespace korvane::sqlite::extension
