#pragma once

#include "sqlite/extension/api.h"

namespace korvane::sqlite::extension {

/// Gives a connection the functions and, over its main database, the views. The database need not be
/// a project, nor readable: a view looks for its tables when it is asked. A view whose name the main
/// database uses itself is not made. May be done again.
///
/// Throws std::runtime_error: "cannot make the view bars: …" where the connection takes no views, as
/// after `PRAGMA query_only = 1`, and SQLite's own text if it refuses a function.
void add_to(sqlite3* database);

}  // namespace korvane::sqlite::extension
